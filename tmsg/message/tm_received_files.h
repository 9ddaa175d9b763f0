/// The files that received values brought. The library never removes them once their value is the
/// caller's: whoever drops the value does, when the files are of no more use.
///
///     void on_message(std::unique_ptr<Message> message, int, Tm_header const&) {
///         use(*message);
///         tm_remove_received_files(*message);
///     }
#pragma once

#include <string>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/message/tm_children.h"
#include "tmsg/value/tm_file.h"

/// Calls `visit` with each file value of a tree, the root included.
template <class Visit>
void tm_for_each_file(Tm_value const& value, Visit const& visit) {
    if (value.get_value_type() == TMV_FILE) return visit(static_cast<Tm_file const&>(value));
    tm_for_each_child(value, [&](Tm_value const& child) { tm_for_each_file(child, visit); });
}

/// Removes the files of a tree, or those that a decoder names (`received_files()`), as far as this
/// process has received them: all others stay. False: one could not be removed, and errno tells why
/// for the last such one. One that is gone already is no failure.
TMSG_API bool tm_remove_received_files(Tm_value const& received);
TMSG_API bool tm_remove_received_files(std::vector<std::string> const& paths) noexcept;
