/// Messages that together hold every value kind, at its limits, at every place.
#pragma once

#include <limits>
#include <memory>

#include "support/basics.h"

constexpr auto meta = Message::TMG_META;
constexpr auto body = Message::TMG_BODY;

/// Adds members, given as name and value in turn.
template <class Datum, class... More>
void add(Tm_struct& target, std::string const& name, Datum const& datum, More const&... more) {
    target.add_member(name, datum);
    if constexpr (sizeof...(more) > 0) add(target, more...);
}

inline Tm_binary binary_of(std::string const& bytes) {
    return Tm_binary(reinterpret_cast<unsigned char const*>(bytes.data()), static_cast<unsigned int>(bytes.size()));
}

template <class... Plain>
void add_limits(Tm_array& array) {
    (array.add_member(std::numeric_limits<Plain>::min()), ...);
    (array.add_member(static_cast<Plain>(-1)), ...);
    (array.add_member(std::numeric_limits<Plain>::max()), ...);
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
    add(inner, "", "empty name", std::string("zero\0byte", 9), 1, std::string(300, 'n'), 2L);
    Tm_struct outer(nullptr);
    add(outer, "inner", &inner, "empty", &empty, "inner", false);
    return outer;
}

/// Members of these names, numbered from 0.
inline Tm_struct of_ints(Names const& names, Tm_catalog<std::string>* shared = nullptr) {
    Tm_struct value(shared);
    for (std::size_t i = 0; i < names.size(); ++i) value.add_member(names[i], static_cast<int>(i));
    return value;
}

inline Names names_of(Tm_struct const& value) {
    Names names;
    for (int i = 0; i < value.get_member_count(); ++i) names.push_back(value.get_member_name(i));
    return names;
}

/// "name0", "name1", ...
inline Names numbered(std::string const& name, int count) {
    Names names;
    for (int i = 0; i < count; ++i) names.push_back(name + std::to_string(i));
    return names;
}

/// Calls `add` with another datum for each number, in every ten one of each kind and size.
template <class Add>
void with_datum(int i, Add add) {
    static Tm_array const array = every_scalar();
    static Tm_struct const structure = nested_struct();
    if (i % 10 == 0) add(i);
    if (i % 10 == 1) add("text " + std::to_string(i));
    if (i % 10 == 2) add(-1L - i);
    if (i % 10 == 3) add(pattern(i % 500 == 3 ? 65535 : static_cast<std::size_t>(i % 300)));
    if (i % 10 == 4) add(i * 0.5);
    if (i % 10 == 5) add(&array);
    if (i % 10 == 6) add(i % 20 == 6);
    if (i % 10 == 7) add(&structure);
    if (i % 10 == 8) add(static_cast<unsigned char>(i));
    if (i % 10 == 9) add("");
}

/// Counts how many of its kind live.
struct Counted : Tm_bool {
    explicit Counted(int& alive) : Tm_bool(true), alive_(alive) { ++alive_; }
    Counted(Counted const& other) : Tm_bool(other), alive_(other.alive_) { ++alive_; }
    ~Counted() override { --alive_; }
    Counted* clone() const override { return new Counted(*this); }
    int& alive_;
};

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
    request->add_member(meta, "trace", 12345UL);
    add(request->get_struct(body), "scalars", &scalars, "lengths", &lengths, "nested", &inner, "fault", fault.get());
    return request;
}

/// A request whose names travel by index, structs within structs and arrays included.
inline std::unique_ptr<Message> indexed_request() {
    auto request = make_message(Message::TMT_REQUEST, "samples.indexed");
    auto const item = nested_struct();
    Tm_array list;
    for (int i = 0; i < 3; ++i) list.add_member(&item);
    request->add_member(meta, "before", 1);
    add(request->get_struct(body), "list", &list, "last", "text");
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
        outer->add_member(meta, "depth", depth);
        outer->add_member(body, "inner", innermost.get());
        innermost = std::move(outer);
    }
    samples.push_back(std::move(innermost));
    return samples;
}
