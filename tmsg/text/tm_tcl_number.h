/// The numbers of list text: what each type accepts. False: bad format.
///
/// The widths up to 32 bits and the doubles take what scanf reads with %lu and %lg, if nothing
/// follows it, in the C locale; the 64-bit types read leniently up to the first other character.
#pragma once

#include <string_view>

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
