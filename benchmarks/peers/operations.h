/// Makes the measurements of a peer (see peer.h).
#pragma once

#include <memory>
#include <utility>

#include "check.h"
#include "peer.h"

namespace peers {

/// Makes the compiler compute the value.
template <class T>
void keep(T const& value) {
    asm volatile("" : : "r"(&value) : "memory");
}

/// Returns a run of the operation. The run destroys each result at once.
template <class Operation>
Run repeat(Operation operation) {
    return [operation = std::move(operation)](long times) {
        for (long i = 0; i < times; ++i) keep(operation());
    };
}

/// Returns a tree that runs share, because a run can be copied.
template <class P>
std::shared_ptr<typename P::Tree const> shared_tree(Kind kind) {
    return std::make_shared<typename P::Tree const>(P::build(kind, the_data()));
}

template <class P>
std::shared_ptr<typename P::Tree const> shared_decoded_tree(Kind kind) {
    return std::make_shared<typename P::Tree const>(P::decode(encoded<P>(kind)));
}

template <class P>
Run build(Kind kind) {
    return repeat([kind] { return P::build(kind, the_data()); });
}

template <class P>
Run encode(Kind kind) {
    auto const out = std::make_shared<typename P::Output>();
    return repeat([tree = shared_tree<P>(kind), out] {
        P::encode(*tree, *out);
        return out->data();
    });
}

template <class P>
Run decode_and_destroy(Kind kind) {
    auto const bytes = std::make_shared<std::string const>(encoded<P>(kind));
    return repeat([bytes] { return P::decode(*bytes); });
}

template <class P>
Run read(Kind kind) {
    return repeat([kind, tree = shared_decoded_tree<P>(kind)] {
        Sum sum;
        read_body(kind, the_data(), P::body(*tree), sum);
        return sum.total();
    });
}

template <class P>
Run look_up_all(std::vector<std::string> const& names) {
    return repeat([&names, tree = shared_decoded_tree<P>(Kind::wide)] {
        Sum sum;
        look_up(names, P::body(*tree), sum);
        return sum.total();
    });
}

template <class P>
Run copy(Kind kind) {
    return repeat([tree = shared_tree<P>(kind)] { return P::copy(*tree); });
}

template <class P>
Run equal(Kind kind) {
    return repeat([left = shared_tree<P>(kind), right = shared_tree<P>(kind)] {
        return P::equal(*left, *right);
    });
}

template <class P>
Run text(Kind kind) {
    auto const out = std::make_shared<std::string>();
    return repeat([tree = shared_tree<P>(kind), out] {
        P::text(*tree, *out);
        return out->data();
    });
}

template <class P>
Run parse(Kind kind) {
    auto const text =
        std::make_shared<std::string const>(text_to_parse<P>(P::build(kind, the_data())));
    return repeat([text] { return P::parse(*text); });
}

template <class P>
void add_measurement(Suite& suite, char const* operation, Kind kind, Run (*prepare)(Kind)) {
    suite.measurements.push_back(
        {operation, kind, P::name, [prepare, kind] { return prepare(kind); }});
}

/// Adds the measurements of encoding and decoding, and the check of a peer.
template <class P>
void add_wire_form(Suite& suite) {
    suite.peers.push_back(
        {P::name, find_faults<P>, [](Kind kind) { return encoded<P>(kind).size(); }});
    for (Kind kind : all_kinds) {
        add_measurement<P>(suite, "encode", kind, encode<P>);
        add_measurement<P>(suite, "decode+destroy", kind, decode_and_destroy<P>);
    }
}

template <class P>
void add_tree_operations(Suite& suite, Kind kind) {
    add_measurement<P>(suite, "build", kind, build<P>);
    if (kind != Kind::wide) add_measurement<P>(suite, "read", kind, read<P>);
    if constexpr (can_copy<P>) add_measurement<P>(suite, "copy", kind, copy<P>);
    if constexpr (can_compare<P>) add_measurement<P>(suite, "equal", kind, equal<P>);
    if (has_text<P>(kind)) {
        if constexpr (can_write_text<P>) add_measurement<P>(suite, "text", kind, text<P>);
    }
    if (has_parse<P>(kind)) {
        if constexpr (can_parse<P>) add_measurement<P>(suite, "parse", kind, parse<P>);
    }
}

/// Adds all measurements of a peer, and its check.
template <class P>
void add_peer(Suite& suite) {
    add_wire_form<P>(suite);
    for (Kind kind : all_kinds) add_tree_operations<P>(suite, kind);
    add_measurement<P>(suite, "lookup-ordered", Kind::wide,
                       [](Kind) { return look_up_all<P>(the_data().members); });
    add_measurement<P>(suite, "lookup-random", Kind::wide,
                       [](Kind) { return look_up_all<P>(the_data().shuffled_members); });
}

}  // namespace peers
