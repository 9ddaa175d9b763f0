/// The differences between two messages, as lines of text:
///
///     body.count: 250 -> 251
///     body.limit: int32_t 5 -> double 5.0
///     body.note: absent -> "fragile"
#pragma once

#include <tmsg/tmsg.h>

#include <functional>
#include <string>
#include <string_view>

/// Takes a line, which ends with a line feed.
using Line_sink = std::function<void(std::string_view line)>;

/// Passes a line to the sink for each path with different values. Returns whether there was none.
/// Compares members by name, and the content of files. Compares elements, and members of the same
/// name, by position. Throws Failure when a file cannot be read, and what the sink throws.
bool find_differences(Message const& left, Message const& right, Line_sink const& sink);
