/// The words of list text: numbers and quoted strings.
#pragma once

#include <string>
#include <string_view>

/// Each reads a number of list text. Returns false for a bad format.
///
/// Integers of up to 32 bits take the formats of scanf with %lu, and doubles those of %lg in the C
/// locale. Nothing may follow the number. Integers of 64 bits also take text after the number. A
/// uint64 takes no minus sign.
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

// Quoted strings of list text.

/// Returns whether a backslash at the end escapes the next character: the number of backslashes
/// there is odd.
bool tm_ends_in_escape(std::string_view text);

/// Replaces the escapes \n \r \t \b \\ and \xHH in `text`. Removes the backslash before any other
/// character. Writes the result to `unescaped`. Returns an empty text, or the error text to which
/// the caller adds the string.
std::string_view tm_unescape(std::string_view text, std::string& unescaped);
