/// Quoted strings of list text.
#pragma once

#include <string>
#include <string_view>

/// A backslash at the end escapes what follows: the number of backslashes there is odd.
bool tm_ends_in_escape(std::string_view text);

/// Replaces the escapes \n \r \t \b \\ and \xHH; a backslash before any other character drops out.
/// Returns nothing, or the error text that is to stand in front of the string.
std::string_view tm_unescape(std::string_view text, std::string& unescaped);
