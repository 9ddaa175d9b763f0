/// Walks over the values of a message, counts them and prints them.
#pragma once

#include <iomanip>
#include <map>
#include <ostream>
#include <string>
#include <string_view>

#include "tmsg/tmsg.h"

inline std::string kind_name(TMV kind) {
    return kind == TMV_MESSAGE ? "message" : Tm_value::tmv_to_string(kind);
}

/// Returns the number of values of each kind in a message, its own two structs included.
inline std::map<TMV, int> count_kinds(Message const& message) {
    std::map<TMV, int> counts;
    tm_walk(message, [&](std::string_view path, Tm_value const& value) {
        if (!path.empty()) ++counts[value.get_value_type()];
        return true;
    });
    return counts;
}

inline std::string kinds_text(Message const& message) {
    auto const counts = count_kinds(message);
    int values = 0;
    for (auto const& [kind, count] : counts) values += count;
    return std::to_string(values) + " values of " + std::to_string(counts.size()) + " kinds";
}

inline void print_kinds(std::ostream& out, Message const& message) {
    out << "   ";
    for (auto const& [kind, count] : count_kinds(message)) {
        out << ' ' << kind_name(kind) << ':' << count;
    }
    out << '\n';
}

inline void print(std::ostream& out, Tm_value const& value);

inline void print_bytes(std::ostream& out, Tm_binary const& bytes) {
    static char const digits[] = "0123456789abcdef";
    for (unsigned int i = 0; i < bytes.get_buffer_size(); ++i) {
        unsigned char const byte = bytes.get_buffer()[i];
        out << digits[byte >> 4U] << digits[byte & 0xFU];
    }
}

inline void print_array(std::ostream& out, Tm_array const& array) {
    char const* separator = "[";
    for (Tm_value const& element : tm_elements(array)) {
        print(out << separator, element);
        separator = ", ";
    }
    out << (array.get_member_count() == 0 ? "[]" : "]");
}

inline void print_struct(std::ostream& out, Tm_struct const& members) {
    char const* separator = "{";
    for (auto const& [name, value] : tm_members(members)) {
        print(out << separator << name << ": ", value);
        separator = ", ";
    }
    out << (members.get_member_count() == 0 ? "{}" : "}");
}

inline void print_message(std::ostream& out, Message const& message) {
    out << Message::tmt_to_string(message.get_msg_type()) << ' ' << message.get_request_name();
    print_struct(out, message.get_const_struct(Message::TMG_BODY));
}

inline void print(std::ostream& out, Tm_value const& value) {
    tm_visit(
        value, [&](bool truth) { out << (truth ? "true" : "false"); },
        [&](std::string_view text) { out << '"' << text << '"'; },
        [&](Tm_binary const& bytes) { print_bytes(out, bytes); },
        [&](Tm_file const& file) { out << file.path(); }, [&](Tm_date const&) { out << "a date"; },
        [&](Tm_array const& array) { print_array(out, array); },
        [&](Tm_struct const& members) { print_struct(out, members); },
        [&](Message const& message) { print_message(out, message); },
        [&](auto number) { out << +number; });
}

/// Prints a line for each member: its name, kind and value.
inline void print_members(std::ostream& out, Tm_struct const& members) {
    out << std::left;
    for (auto const& [name, value] : tm_members(members)) {
        out << "    " << std::setw(9) << name << std::setw(9) << kind_name(value.get_value_type());
        print(out, value);
        out << '\n';
    }
}
