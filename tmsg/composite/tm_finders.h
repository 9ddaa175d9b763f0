/// Look-ups that tell an absent member from a present one without an exception, written once for
/// structs, arrays and messages. The key is a name or a position, in an array a position. A message
/// has the group as the first argument:
///
///     if (auto count = record.get_if<int>("count")) use(*count);
///     auto port = message.get_or<int>(Message::TMG_BODY, "port", 80);
///     long total = record.get_number<long>("total");  // stored as any type of number
///
/// T is a plain type, std::string, std::string_view, char const*, or a pointer to a const
/// container, such as Tm_array const*. The owner of the member owns what texts and pointers refer
/// to, as with the getters.
#pragma once

#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "tmsg/composite/tm_number.h"
#include "tmsg/composite/tm_read_member.h"
#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_text.h"

/// Returns the key as an int or as a view. A position that int does not have becomes -1.
template <class Key>
auto tm_key(Key const& key) {
    if constexpr (std::is_integral_v<Key> || std::is_enum_v<Key>) {
        auto const position = static_cast<int>(key);
        return static_cast<Key>(position) == key ? position : -1;
    } else if constexpr (std::is_convertible_v<Key, char const*>) {
        return tm_view(key);
    } else {
        return std::string_view(key);
    }
}

template <class Owner, class... Group>
class Tm_finders {
public:
    /// Returns the value, which its owner still owns, or null when there is none.
    template <class Key>
    Tm_value const* find(Group... group, Key const& key) const {
        return owner().find_value(group..., tm_key(key));
    }
    template <class Key>
    bool has_member(Group... group, Key const& key) const {
        return find(group..., key) != nullptr;
    }
    /// Returns the value, or nothing when it is absent or of another type.
    template <class T, class Key>
    std::optional<T> get_if(Group... group, Key const& key) const {
        using Reading = Tm_reading<T>;
        Tm_value const* const value = find(group..., key);
        if (value == nullptr || value->get_value_type() != Reading::code) return {};
        return Reading::read(value);
    }
    /// Returns the value, or `otherwise` when it is absent or of another type.
    template <class T, class Key>
    T get_or(Group... group, Key const& key, T otherwise) const {
        return get_if<T>(group..., key).value_or(std::move(otherwise));
    }
    /// Returns a number of any type as T, an integer type or double:
    ///  - an integer as any integer type that holds it, and as double when double holds it exactly,
    ///  - a double as double, and as an integer type when it is a whole number that the type holds.
    /// Throws Tm_out_of_range_exception for any other number, Tm_type_mismatch_exception for a
    /// value that is no number, and what a getter throws for an absent member.
    template <class T, class Key>
    T get_number(Group... group, Key const& key) const {
        return owner().template number_at<T>(group..., tm_key(key));
    }

protected:
    ~Tm_finders() = default;

private:
    Owner const& owner() const { return static_cast<Owner const&>(*this); }
};
