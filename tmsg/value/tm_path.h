/// The place of a value in a tree as a text: "body.server.ports[2]". A name that is empty or holds
/// a ".", "[", "]", a quotation mark or a control character is quoted:
///
///     ["a.b"]         the member a.b of the root
///     body["a\"b"]    \" and \\ stand for themselves, \x0A for the byte 0Ah
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tmsg/export.h"

/// Each adds a step to the path.
TMSG_API void tm_append_name(std::string& path, std::string_view name);
TMSG_API void tm_append_position(std::string& path, int position);

/// A step of a path: a name, or the position of an element.
struct Tm_path_step {
    std::string name;
    int position = -1;  ///< below 0 for a name
};

/// Removes the first step from the path and returns it. Returns nothing when the path does not
/// parse. `is_first` tells that the step is the first one of the whole path.
TMSG_API std::optional<Tm_path_step> tm_take_step(std::string_view& path, bool is_first);
