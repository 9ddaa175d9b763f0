/// Walks over the values of a tree, and over its files, without a visitor:
///
///     std::size_t count(Tm_value const& value) {
///         std::size_t sum = 1;
///         tm_for_each_child(value, [&](Tm_value const& child) { sum += count(child); });
///         return sum;
///     }
#pragma once

#include <string>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/message/tm_tree.h"
#include "tmsg/value/tm_file.h"

/// Calls `visit` with each value in a struct or an array. Skips empty slots of an array.
template <class Container, class Visit>
void tm_for_each_member(Container const& container, Visit visit) {
    for (Tm_value const& value : Tm_items<Container, Tm_value const&>(container)) visit(value);
}

/// Calls `visit` with each value directly within a struct or an array, or with both groups of a
/// message. Other values have no children.
template <class Visit>
void tm_for_each_child(Tm_value const& value, Visit visit) {
    tm_visit(
        value, [&](Tm_struct const& members) { tm_for_each_member(members, visit); },
        [&](Tm_array const& elements) { tm_for_each_member(elements, visit); },
        [&](Message const& message) {
            visit(message.get_const_struct(Message::TMG_META));
            visit(message.get_const_struct(Message::TMG_BODY));
        },
        [](auto const&) {});
}

/// Calls `visit` with each file value of a tree, the root included.
template <class Visit>
void tm_for_each_file(Tm_value const& value, Visit const& visit) {
    if (value.get_value_type() == TMV_FILE) return visit(static_cast<Tm_file const&>(value));
    tm_for_each_child(value, [&](Tm_value const& child) { tm_for_each_file(child, visit); });
}

/// Both remove received files: the files of a tree, or the files that the received_files() of a
/// decoder lists. They remove only files that this process has received, and leave all others.
/// They return false when a file cannot be removed. errno then has the reason for the last such
/// file. A file that does not exist any more is no failure.
///
/// The library never removes the received files of a message that the caller owns, so the caller
/// does:
///
///     void on_message(std::unique_ptr<Message> message, int, Tm_header const&) {
///         use(*message);
///         tm_remove_received_files(*message);
///     }
TMSG_API bool tm_remove_received_files(Tm_value const& received);
TMSG_API bool tm_remove_received_files(std::vector<std::string> const& paths) noexcept;
