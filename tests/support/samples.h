/// Messages that together hold every value kind, at its limits, at every place.
#pragma once

#include <tmsg/tmsg.h>

#include <limits>
#include <memory>
#include <vector>

#include "support/bytes.h"

template <class... Plain>
void add_limits(Tm_array& array) {
    for (int i = 0; i < 3; ++i) {
        (array.add_member(i == 0   ? std::numeric_limits<Plain>::min()
                          : i == 1 ? static_cast<Plain>(-1)
                                   : std::numeric_limits<Plain>::max()),
         ...);
    }
}

/// Three of each integer width, six doubles, two bools.
inline Tm_array every_scalar() {
    Tm_array array;
    add_limits<signed char, unsigned char, short, unsigned short, int, unsigned int, long, unsigned long>(array);
    double const infinity = std::numeric_limits<double>::infinity();
    for (double const value : {0.0, -0.0, 1.5, -1e308, 5e-324, infinity}) array.add_member(value);
    array.add_member(true);
    array.add_member(false);
    return array;
}

/// Strings and byte strings around every length at which they are cut into pieces.
inline Tm_array every_length() {
    Tm_array array;
    for (unsigned int const size : {0U, 1U, 127U, 128U, 129U, 256U, 300U}) {
        std::string const text = pattern(size);
        array.add_member(text);
        array.add_member(reinterpret_cast<unsigned char const*>(text.data()), size);
    }
    return array;
}

inline Tm_struct nested_struct() {
    Tm_array const empty;
    Tm_struct inner(nullptr);
    inner.add_member("", "empty name");
    inner.add_member(std::string("zero\0byte", 9), 1);
    inner.add_member(std::string(300, 'n'), 2L);
    Tm_struct outer(nullptr);
    outer.add_member("inner", &inner);
    outer.add_member("empty", &empty);
    outer.add_member("inner", false);
    return outer;
}

inline std::unique_ptr<Message> make_message(Message::TMT kind, std::string const& name = "") {
    auto message = std::make_unique<Message>();
    message->set_msg_type(kind);
    if (!name.empty()) message->set_request_name(name);
    return message;
}

inline std::unique_ptr<Message> every_kind_request() {
    auto request = make_message(Message::TMT_REQUEST, "samples.every_kind");
    auto const scalars = every_scalar();
    auto const lengths = every_length();
    auto const inner = nested_struct();
    auto const fault = make_message(Message::TMT_FAULT);
    fault->set_fault_code(-7);
    fault->set_fault_string("inside");
    request->add_member(Message::TMG_META, "trace", 12345UL);
    request->add_member(Message::TMG_BODY, "scalars", &scalars);
    request->add_member(Message::TMG_BODY, "lengths", &lengths);
    request->add_member(Message::TMG_BODY, "nested", &inner);
    request->add_member(Message::TMG_BODY, "fault", fault.get());
    return request;
}

/// A request whose names travel by index, structs within structs and arrays included.
inline std::unique_ptr<Message> indexed_request() {
    auto request = make_message(Message::TMT_REQUEST, "samples.indexed");
    auto const item = nested_struct();
    Tm_array list;
    for (int i = 0; i < 3; ++i) list.add_member(&item);
    request->add_member(Message::TMG_META, "before", 1);
    request->add_member(Message::TMG_BODY, "list", &list);
    request->add_member(Message::TMG_BODY, "last", "text");
    request->index_member_names();
    return request;
}

inline std::vector<std::unique_ptr<Message>> sample_messages() {
    std::vector<std::unique_ptr<Message>> samples;
    samples.push_back(every_kind_request());
    samples.push_back(indexed_request());
    samples.push_back(make_message(Message::TMT_RESPONSE));
    samples.push_back(make_message(Message::TMT_REQUEST, std::string(300, 'm') + ".x"));
    samples.push_back(make_message(Message::TMT_FAULT));
    samples.back()->set_fault_string(std::string(200, 'f').c_str());
    auto innermost = make_message(Message::TMT_RESPONSE);
    for (int depth = 0; depth < 5; ++depth) {
        auto outer = make_message(depth % 2 == 0 ? Message::TMT_REQUEST : Message::TMT_RESPONSE, "a.b");
        outer->add_member(Message::TMG_META, "depth", depth);
        outer->add_member(Message::TMG_BODY, "inner", innermost.get());
        innermost = std::move(outer);
    }
    samples.push_back(std::move(innermost));
    return samples;
}
