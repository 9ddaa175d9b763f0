/// Quoted strings of list text.
#pragma once

#include <string>
#include <string_view>

/// The last character is a double quote that no backslash escapes.
bool tm_ends_with_quote(std::string_view text);

/// Replaces the escapes \n \r \t \b \\ and \xHH; a backslash before any other character drops out.
/// Answers nothing, or the error text that is to stand in front of the string.
std::string_view tm_unescape(std::string_view text, std::string& unescaped);
