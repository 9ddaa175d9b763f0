/// The parts that the targets that build messages share.
#pragma once

#include <string>
#include <vector>

#include "target.h"

inline std::string const& name_of(unsigned int number) {
    static std::vector<std::string> const names = [] {
        std::vector<std::string> made;
        for (unsigned int i = 0; i < 24; ++i) {
            made.push_back(i % 8 == 7 ? std::string(200, 'l') : "n" + std::to_string(i));
        }
        return made;
    }();
    return names[number % names.size()];
}

/// Returns the number of values in a tree, the root included.
inline std::size_t weight_of(Tm_value const& value) {
    std::size_t sum = 1;
    tm_for_each_child(value, [&](Tm_value const& child) { sum += weight_of(child); });
    return sum;
}

/// Adds so many members that a look-up needs a table of the names.
inline void add_several(Tm_struct& target, unsigned int first) {
    for (unsigned int i = first; i < first + 20; ++i) {
        target.add_member(name_of(i), static_cast<int>(i));
    }
}

/// Checks that a look-up finds a member with the name exactly when there is one.
inline void check_lookup(Tm_struct const& value, std::string const& name) {
    int const position = value.get_member_index(name.c_str());
    if (position >= 0) FUZZ_CHECK(value.get_member_name(position) == name);
    if (!is_thorough()) return;
    bool is_there = false;
    for (int i = 0; i < value.get_member_count(); ++i) {
        is_there = is_there || value.get_member_name(i) == name;
    }
    FUZZ_CHECK((position >= 0) == is_there);
}

/// Checks that the message comes back equal from the wire form. A copied struct may have brought
/// the name table of another message, so the indexes are renewed first.
inline void check_wire_form(Message const& message, int chunk_size) {
    Message sent(message);
    FUZZ_CHECK(sent.restore_member_indexes());
    auto const bytes = encode(sent, chunk_size);
    Fuzz_result const decoded = decode_whole(bytes);
    FUZZ_CHECK(decoded.error.empty() && *decoded.message == sent);
}

inline void check_list_text(Message const& message) {
    Tm_tcl_encoder list;
    message.accept(list);
    FUZZ_CHECK(Message::from_string(list.get_string()) == message);
}
