/// Checks that every peer returns every value after every operation.
#pragma once

#include <algorithm>
#include <cstring>
#include <exception>

#include "peer.h"

namespace peers {

template <class P>
constexpr bool can_copy = requires {
    &P::copy;
};
template <class P>
constexpr bool can_compare = requires {
    &P::equal;
};
template <class P>
constexpr bool can_write_text = requires {
    &P::text;
};
template <class P>
constexpr bool can_parse = requires {
    &P::parse;
};

template <class P>
bool has_text(Kind kind) {
    if constexpr (requires { &P::has_text; }) return P::has_text(kind);
    return can_write_text<P>;
}

template <class P>
bool has_parse(Kind kind) {
    if constexpr (requires { &P::has_parse; }) return P::has_parse(kind);
    return can_parse<P> && has_text<P>(kind);
}

template <class P>
std::string text_to_parse(typename P::Tree const& tree) {
    std::string text;
    if constexpr (requires { &P::parsable_text; })
        P::parsable_text(tree, text);
    else
        P::text(tree, text);
    return text;
}

template <class Output>
std::string_view view(Output const& out) {
    return {reinterpret_cast<char const*>(out.data()), out.size()};
}

template <class P>
std::string encoded(Kind kind) {
    typename P::Output out;
    P::encode(P::build(kind, the_data()), out);
    return std::string(view(out));
}

/// A total that depends on every byte of every value and on their order.
class Digest {
public:
    void add(std::string_view text) {
        mix(text.size());
        for (; !text.empty(); text.remove_prefix(std::min(text.size(), sizeof(std::uint64_t)))) {
            std::uint64_t word = 0;
            std::memcpy(&word, text.data(), std::min(text.size(), sizeof word));
            mix(word);
        }
    }
    void add(BytesView bytes) { add(as_text(bytes)); }
    void add(double value) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        mix(bits);
    }
    template <class T>
    std::enable_if_t<std::is_integral_v<T>> add(T value) {
        mix(static_cast<std::uint64_t>(value));
    }
    std::uint64_t total() const { return total_; }

private:
    void mix(std::uint64_t value) { total_ = (total_ ^ value) * 0x100000001b3u; }

    std::uint64_t total_ = 0xcbf29ce484222325u;
};

/// A writer that adds each value to a total.
template <class Total>
class TotalWriter {
public:
    explicit TotalWriter(Total& total) : total_(total) {}

    template <class T>
    void add(std::string_view, T value) {
        total_.add(value);
    }
    template <class T>
    void add(T value) {
        total_.add(value);
    }
    template <class Fill>
    void add_struct(std::string_view, std::size_t, Fill fill) {
        fill(*this);
    }
    template <class Fill>
    void add_struct(std::size_t, Fill fill) {
        fill(*this);
    }
    template <class Fill>
    void add_array(std::string_view, std::size_t, Fill fill) {
        fill(*this);
    }

private:
    Total& total_;
};

template <class Total>
std::uint64_t expected_total(Kind kind) {
    Total total;
    TotalWriter<Total> writer(total);
    write_body(kind, the_data(), writer);
    return total.total();
}

/// Returns whether the tree has all values. Looks up only a part of the names of W7, because a
/// library that searches its members one by one would take seconds for all. finds_every_name()
/// looks up all names, in one tree only.
template <class P, class Total>
bool has_all_values(Kind kind, typename P::Tree const& tree) {
    Total found;
    if (kind != Kind::wide) {
        read_body(kind, the_data(), P::body(tree), found);
        return found.total() == expected_total<Total>(kind);
    }
    Total expected;
    std::vector<std::string> names;
    for (std::size_t i = 0; i < Data::member_count; i += 97) {
        names.push_back(the_data().members[i]);
        expected.add(static_cast<std::int32_t>(i));
    }
    look_up(names, P::body(tree), found);
    return found.total() == expected.total();
}

template <class P>
bool finds_every_name(typename P::Tree const& tree) {
    Digest found;
    look_up(the_data().members, P::body(tree), found);
    return found.total() == expected_total<Digest>(Kind::wide);
}

template <class P>
void check_operations(Kind kind, std::vector<std::string>& faults) {
    auto const expect = [&](char const* what, bool holds) {
        if (!holds) faults.emplace_back(what);
    };
    auto const tree = P::build(kind, the_data());
    expect("built tree", has_all_values<P, Digest>(kind, tree));
    auto const bytes = encoded<P>(kind);
    auto const decoded = P::decode(bytes);
    expect("decoded tree", has_all_values<P, Digest>(kind, decoded));
    if (kind == Kind::wide) expect("look-up", finds_every_name<P>(decoded));
    typename P::Output again;
    P::encode(tree, again);
    P::encode(tree, again);
    expect("encoding twice",
           again.size() == bytes.size() && has_all_values<P, Digest>(kind, P::decode(view(again))));
    if constexpr (can_copy<P>)
        expect("copied tree", has_all_values<P, Digest>(kind, P::copy(tree)));
    if constexpr (can_compare<P>) {
        auto const other = kind == Kind::deep ? Kind::small_request : Kind::deep;
        expect("equal", P::equal(tree, P::build(kind, the_data())));
        expect("different", !P::equal(tree, P::build(other, the_data())));
    }
    if constexpr (can_parse<P>) {
        if (has_parse<P>(kind))
            expect("parsed text", has_all_values<P, Sum>(kind, P::parse(text_to_parse<P>(tree))));
    }
}

/// Returns a text for each check that failed.
template <class P>
std::vector<std::string> find_faults(Kind kind) {
    std::vector<std::string> faults;
    try {
        check_operations<P>(kind, faults);
    } catch (std::exception const& e) {
        faults.emplace_back(e.what());
    }
    return faults;
}

}  // namespace peers
