/// Makes a value of any type that a member or an element can have.
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "tmsg/composite/tm_slot.h"
#include "tmsg/value/tm_binary.h"

class Tm_array;
class Tm_struct;

template <class T>
constexpr bool tm_is_value = std::is_base_of_v<Tm_value, T>;

template <class T>
struct Tm_is_optional : std::false_type {};
template <class T>
struct Tm_is_optional<std::optional<T>> : std::true_type {};

template <class T>
struct Tm_is_vector : std::false_type {};
template <class T, class Allocator>
struct Tm_is_vector<std::vector<T, Allocator>> : std::true_type {};

template <class T>
struct Tm_is_value_owner : std::false_type {};
template <class T, class Deleter>
struct Tm_is_value_owner<std::unique_ptr<T, Deleter>> : std::bool_constant<tm_is_value<T>> {};

/// The types that add_member() takes as templates: values, owners of values, vectors and optionals.
template <class T, class Plain = std::decay_t<T>>
constexpr bool tm_is_compound = tm_is_value<Plain> || Tm_is_value_owner<Plain>::value ||
                                Tm_is_vector<Plain>::value || Tm_is_optional<Plain>::value;

/// A pointer that would otherwise become a bool.
template <class T>
constexpr bool tm_is_unlisted = !std::is_same_v<T, char> && !tm_is_value<T>;

/// A pointer to a function or to a class member, which would otherwise become a bool, too.
template <class T>
constexpr bool tm_is_code = std::is_member_pointer_v<T> ||
                            (std::is_pointer_v<T> && std::is_function_v<std::remove_pointer_t<T>>);

/// The types that Tm_array{one element} takes.
template <class T, class Plain = std::decay_t<T>>
constexpr bool tm_is_only_element =
    !std::is_base_of_v<Tm_array, Plain> && !std::is_convertible_v<T, Tm_value_container*>;

/// Returns whether the class of the value is the one that its static type tells. Without type
/// information, no class but Tm_struct is known to be.
template <class Class>
bool tm_is_exactly([[maybe_unused]] Class const& value) {
#ifdef __GXX_RTTI
    return typeid(value) == typeid(Class);
#else
    return false;
#endif
}
TMSG_API bool tm_is_exactly(Tm_struct const& value);

/// Returns a copy of an lvalue. Takes the content of an rvalue, unless its class is one that its
/// static type does not tell.
template <class Value>
std::unique_ptr<Tm_value> tm_own_value(Value&& value) {
    using Class = std::decay_t<Value>;
    if constexpr (!std::is_lvalue_reference_v<Value> && !std::is_const_v<Class> &&
                  !std::is_abstract_v<Class> && std::is_nothrow_move_constructible_v<Class>) {
        if (tm_is_exactly(value)) return std::make_unique<Class>(std::forward<Value>(value));
    }
    return std::unique_ptr<Tm_value>(value.clone());
}

template <class Vector>
std::unique_ptr<Tm_value> tm_own_elements(Vector&& elements);

// clang-format off
inline Tm_new_value tm_plain_value(signed char value) { return value; }
inline Tm_new_value tm_plain_value(unsigned char value) { return value; }
inline Tm_new_value tm_plain_value(short value) { return value; }
inline Tm_new_value tm_plain_value(unsigned short value) { return value; }
inline Tm_new_value tm_plain_value(int value) { return value; }
inline Tm_new_value tm_plain_value(unsigned int value) { return value; }
inline Tm_new_value tm_plain_value(long value) { return value; }
inline Tm_new_value tm_plain_value(unsigned long value) { return value; }
inline Tm_new_value tm_plain_value(long long value) { return static_cast<long>(value); }
inline Tm_new_value tm_plain_value(unsigned long long value) { return static_cast<unsigned long>(value); }
inline Tm_new_value tm_plain_value(double value) { return value; }
inline Tm_new_value tm_plain_value(bool value) { return value; }
inline Tm_new_value tm_plain_value(char const* text) { return Tm_new_value(text); }
inline Tm_new_value tm_plain_value(std::string const& text) { return Tm_new_value(std::string_view(text)); }
inline Tm_new_value tm_plain_value(std::string_view text) { return Tm_new_value(text); }
inline Tm_new_value tm_plain_value(Tm_value const* value) { return Tm_new_value(value); }
template <class Unlisted, class = std::enable_if_t<tm_is_unlisted<Unlisted>>>
Tm_new_value tm_plain_value(Unlisted const* pointer) = delete;
template <class Code, class = std::enable_if_t<tm_is_code<Code>>, class = void>
Tm_new_value tm_plain_value(Code pointer) = delete;
// clang-format on

/// Converts as a call of add_member() with one argument does. A null pointer throws Tm_exception.
template <class T>
Tm_new_value tm_make_value(T&& from) {
    using Plain = std::decay_t<T>;
    static_assert(!Tm_is_optional<Plain>::value, "an empty optional has no value");
    if constexpr (tm_is_value<Plain>) {
        return Tm_new_value(tm_own_value(std::forward<T>(from)));
    } else if constexpr (Tm_is_value_owner<Plain>::value) {
        tm_present(from.get());
        return Tm_new_value(std::unique_ptr<Tm_value>(std::forward<T>(from)));
    } else if constexpr (Tm_is_vector<Plain>::value) {
        return Tm_new_value(tm_own_elements(std::forward<T>(from)));
    } else {
        return tm_plain_value(from);
    }
}
