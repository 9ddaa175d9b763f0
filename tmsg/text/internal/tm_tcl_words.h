/// The words of list text: numbers and quoted strings.
#pragma once

#include <string>
#include <string_view>

/// Parse a number of list text. Return false for a bad format.
///
/// The widths up to 32 bits and the doubles take what scanf reads with %lu and %lg, if nothing
/// follows it, in the C locale; the 64-bit types read leniently up to the first other character.
// clang-format off
bool tm_parse_number(std::string_view token, signed char& number);
bool tm_parse_number(std::string_view token, unsigned char& number);
bool tm_parse_number(std::string_view token, short& number);
bool tm_parse_number(std::string_view token, unsigned short& number);
bool tm_parse_number(std::string_view token, int& number);
bool tm_parse_number(std::string_view token, unsigned int& number);
bool tm_parse_number(std::string_view token, long& number);
bool tm_parse_number(std::string_view token, unsigned long& number);
bool tm_parse_number(std::string_view token, double& number);
// clang-format on

/// Quoted strings of list text.

/// A backslash at the end escapes what follows: the number of backslashes there is odd.
bool tm_ends_in_escape(std::string_view text);

/// Replaces the escapes \n \r \t \b \\ and \xHH; a backslash before any other character drops out.
/// Returns nothing, or the error text that is to stand in front of the string.
std::string_view tm_unescape(std::string_view text, std::string& unescaped);
