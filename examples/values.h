/// Walks over the values of a message, counts them and prints them.
#pragma once

#include <iomanip>
#include <map>
#include <ostream>
#include <string>

#include "tmsg/tmsg.h"

/// Calls `visit` with every value of a tree, the root and the values of nested messages included.
template <class Visit>
void for_each_value(Tm_value const& value, Visit const& visit) {
    visit(value);
    if (value.get_value_type() == TMV_ARRAY) {
        auto const& array = static_cast<Tm_array const&>(value);
        for (int i = 0; i < array.get_member_count(); ++i) {
            for_each_value(*array.get_value(i), visit);
        }
    } else if (value.get_value_type() == TMV_STRUCT) {
        auto const& members = static_cast<Tm_struct const&>(value);
        for (int i = 0; i < members.get_member_count(); ++i) {
            for_each_value(*members.get_value(i), visit);
        }
    } else if (value.get_value_type() == TMV_MESSAGE) {
        auto const& message = static_cast<Message const&>(value);
        for_each_value(message.get_const_struct(Message::TMG_META), visit);
        for_each_value(message.get_const_struct(Message::TMG_BODY), visit);
    }
}

inline std::string kind_name(TMV kind) {
    return kind == TMV_MESSAGE ? "message" : Tm_value::tmv_to_string(kind);
}

/// Returns the number of values of each kind in a message, its own two structs included.
inline std::map<TMV, int> count_kinds(Message const& message) {
    std::map<TMV, int> counts;
    auto const count = [&](Tm_value const& value) { ++counts[value.get_value_type()]; };
    for_each_value(message.get_const_struct(Message::TMG_META), count);
    for_each_value(message.get_const_struct(Message::TMG_BODY), count);
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

template <class Value>
void print_number(std::ostream& out, Tm_value const& value) {
    out << +static_cast<Value const&>(value).value();
}

inline void print_bytes(std::ostream& out, Tm_binary const& bytes) {
    static char const digits[] = "0123456789abcdef";
    for (unsigned int i = 0; i < bytes.get_buffer_size(); ++i) {
        unsigned char const byte = bytes.get_buffer()[i];
        out << digits[byte >> 4U] << digits[byte & 0xFU];
    }
}

inline void print_array(std::ostream& out, Tm_array const& array) {
    out << '[';
    for (int i = 0; i < array.get_member_count(); ++i) {
        print(out << (i == 0 ? "" : ", "), *array.get_value(i));
    }
    out << ']';
}

inline void print_struct(std::ostream& out, Tm_struct const& members) {
    out << '{';
    for (int i = 0; i < members.get_member_count(); ++i) {
        out << (i == 0 ? "" : ", ") << members.get_member_name(i) << ": ";
        print(out, *members.get_value(i));
    }
    out << '}';
}

inline void print_message(std::ostream& out, Message const& message) {
    out << Message::tmt_to_string(message.get_msg_type()) << ' ' << message.get_request_name();
    print_struct(out, message.get_const_struct(Message::TMG_BODY));
}

// clang-format off
inline void print(std::ostream& out, Tm_value const& value) {
    switch (value.get_value_type()) {
        case TMV_INT8:    return print_number<Tm_int8>(out, value);
        case TMV_UINT8:   return print_number<Tm_uint8>(out, value);
        case TMV_INT16:   return print_number<Tm_int16>(out, value);
        case TMV_UINT16:  return print_number<Tm_uint16>(out, value);
        case TMV_INT32:   return print_number<Tm_int32>(out, value);
        case TMV_UINT32:  return print_number<Tm_uint32>(out, value);
        case TMV_INT64:   return print_number<Tm_int64>(out, value);
        case TMV_UINT64:  return print_number<Tm_uint64>(out, value);
        case TMV_DOUBLE:  return print_number<Tm_double>(out, value);
        case TMV_BOOL:    out << (static_cast<Tm_bool const&>(value).value() ? "true" : "false"); return;
        case TMV_STRING:  out << '"' << static_cast<Tm_string const&>(value).value() << '"'; return;
        case TMV_BINARY:  return print_bytes(out, static_cast<Tm_binary const&>(value));
        case TMV_FILE:    out << static_cast<Tm_file const&>(value).path(); return;
        case TMV_ARRAY:   return print_array(out, static_cast<Tm_array const&>(value));
        case TMV_STRUCT:  return print_struct(out, static_cast<Tm_struct const&>(value));
        case TMV_MESSAGE: return print_message(out, static_cast<Message const&>(value));
        case TMV_DATE:    out << "a date"; return;
    }
}
// clang-format on

/// Prints a line for each member: its name, kind and value.
inline void print_members(std::ostream& out, Tm_struct const& members) {
    out << std::left;
    for (int i = 0; i < members.get_member_count(); ++i) {
        out << "    " << std::setw(9) << members.get_member_name(i) << std::setw(9)
            << kind_name(members.get_member_value_type(i));
        print(out, *members.get_value(i));
        out << '\n';
    }
}
