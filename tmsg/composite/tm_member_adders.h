/// The add_member overloads of structs, written once. `Where` is the type that names the member: a
/// name for Tm_struct, a position for Tm_prenamed_struct.
///
///     Tm_struct record(nullptr);
///     record.add_member("article", "bolt M8");
///     record.add_member("count", 250);
///
/// Each overload adds one member with a copy of the data. When it throws, the struct is as before.
/// With an index catalogue `index`, it also adds the name there and records the wire index of the
/// member. The name may stay in the catalogue when the call throws.
/// A null pointer throws Tm_exception. A text longer than 65,535 bytes throws
/// Tm_out_of_range_exception. The length of a name is not checked.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "tmsg/composite/tm_make_value.h"
#include "tmsg/composite/tm_slot.h"
#include "tmsg/value/tm_binary.h"
#include "tmsg/value/tm_catalog.h"

/// The name of a new member, or of a request, as an argument. It refers to the bytes and does not
/// copy them. A null pointer throws Tm_exception.
struct Tm_name : std::string_view {
    Tm_name(char const* name) : std::string_view(tm_present(name, "name without a text")) {}
    Tm_name(std::string const& name) : std::string_view(name) {}
    Tm_name(std::string_view name) : std::string_view(name) {}
};

template <class Owner, class Where>
class Tm_member_adders {
public:
    using Index = Tm_catalog<std::string>;

    // clang-format off
    void add_member(Where where, signed char value, Index* index = nullptr) { owner().place(where, value, index); }
    void add_member(Where where, unsigned char value, Index* index = nullptr) { owner().place(where, value, index); }
    void add_member(Where where, short value, Index* index = nullptr) { owner().place(where, value, index); }
    void add_member(Where where, unsigned short value, Index* index = nullptr) { owner().place(where, value, index); }
    void add_member(Where where, int value, Index* index = nullptr) { owner().place(where, value, index); }
    void add_member(Where where, unsigned int value, Index* index = nullptr) { owner().place(where, value, index); }
    void add_member(Where where, long value, Index* index = nullptr) { owner().place(where, value, index); }
    void add_member(Where where, unsigned long value, Index* index = nullptr) { owner().place(where, value, index); }
    void add_member(Where where, double value, Index* index = nullptr) { owner().place(where, value, index); }
    void add_member(Where where, bool value, Index* index = nullptr) { owner().place(where, value, index); }
    void add_member(Where where, char const* text, Index* index = nullptr) { place(where, index, text); }
    void add_member(Where where, std::string const& text, Index* index = nullptr) { place(where, index, text); }
    void add_member(Where where, std::string_view text, Index* index = nullptr) { place(where, index, text); }
    void add_member(Where where, Tm_binary const* bytes, Index* index = nullptr) { place(where, index, bytes); }
    void add_member(Where where, Tm_value const* value, Index* index = nullptr) { place(where, index, value); }
    void add_member(Where where, unsigned char const* data, unsigned int length, Index* index = nullptr) { place(where, index, data, length); }
    /// Adds a file, which is opened for reading. The open mode, the third argument, has no effect.
    void add_member(Where where, std::string const& path, unsigned int, Index* index = nullptr) { place(where, index, path, 0U); }
    void add_member(Where where, long long value, Index* index = nullptr) { owner().place(where, static_cast<long>(value), index); }
    void add_member(Where where, unsigned long long value, Index* index = nullptr) { owner().place(where, static_cast<unsigned long>(value), index); }
    // clang-format on
    /// Adds a copy of an lvalue and moves an rvalue: a value, the elements of a std::vector as an
    /// array (unsigned char: as a byte string), a value that a std::unique_ptr owns, or what a
    /// std::optional has. An empty optional adds nothing.
    template <class Compound, class = std::enable_if_t<tm_is_compound<Compound>>>
    void add_member(Where where, Compound&& value, Index* index = nullptr) {
        owner().check_place(where);
        if constexpr (Tm_is_optional<std::decay_t<Compound>>::value) {
            if (value) add_member(where, *std::forward<Compound>(value), index);
        } else {
            owner().place(where, tm_make_value(std::forward<Compound>(value)), index);
        }
    }
    /// No pointer becomes a bool.
    template <class Unlisted, class = std::enable_if_t<tm_is_unlisted<Unlisted>>>
    void add_member(Where where, Unlisted const* pointer, Index* index = nullptr) = delete;
    template <class Code, class = std::enable_if_t<tm_is_code<Code>>, class = void>
    void add_member(Where where, Code pointer, Index* index = nullptr) = delete;
    /// Adds a file, which is opened for reading.
    void add_file(Where where, std::string const& path, Index* index = nullptr) {
        place(where, index, path, 0U);
    }
    /// Takes ownership of the value, and deletes it when the call throws.
    void add_member_and_own(Where where, Tm_value* value, Index* index = nullptr) {
        Tm_new_value owned{std::unique_ptr<Tm_value>(tm_present(value))};
        owner().place(where, std::move(owned), index);
    }

protected:
    ~Tm_member_adders() = default;

private:
    Owner& owner() { return static_cast<Owner&>(*this); }

    template <class... Datum>
    void place(Where where, Index* index, Datum const&... datum) {
        owner().check_place(where);
        owner().place(where, Tm_new_value(datum...), index);
    }
};
