/// Writes values as texts on one line, and looks values up by path.
#pragma once

#include <tmsg/tmsg.h>

#include <string>
#include <string_view>

/// Returns a number or bool as plain text, and any other value as typed JSON. A number reads back
/// as the same number.
std::string plain_text(Tm_value const& value);

/// Returns the name of the type as in list text, and "message" for a message.
std::string_view type_name(TMV type);

/// Returns whether the path parses.
bool is_path(std::string_view path);

/// Returns the value at the path below `root`. Throws Failure with the first part of the path that
/// leads nowhere.
Tm_value const& value_at(Tm_value const& root, std::string_view path);
