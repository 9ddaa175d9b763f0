/// Conversion between structs of your own and Tm_struct:
///
///     struct Line {
///         std::string article;
///         int count = 0;
///     };
///     TM_FIELDS(Line, article, count)  // in the namespace of Line
///
///     struct Order {
///         long number = 0;
///         std::vector<Line> lines;
///         std::optional<double> discount;
///     };
///     TM_FIELDS(Order, number, lines, discount)
///
///     Tm_struct sent = tm_to_struct(order);
///     Order received = tm_from_struct<Order>(sent);
///
/// A field is a number, a bool, a std::string, an enumeration (sent as its underlying integer), a
/// struct with TM_FIELDS, a value such as Tm_binary or Tm_struct, or a std::vector or std::optional
/// of these. A vector of unsigned char is sent as a byte string. An empty optional is not sent.
#pragma once

#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "tmsg/composite/tm_array.h"
#include "tmsg/composite/tm_struct.h"
#include "tmsg/value/tm_exception.h"

// Calls the macro f with each of up to 80 arguments. A macro cannot call itself, so that two call
// each other, and each scan of TM_EVAL expands one step. The arguments ()()() end the list.
#define TM_EVAL0(...) __VA_ARGS__
#define TM_EVAL1(...) TM_EVAL0(TM_EVAL0(TM_EVAL0(__VA_ARGS__)))
#define TM_EVAL2(...) TM_EVAL1(TM_EVAL1(TM_EVAL1(__VA_ARGS__)))
#define TM_EVAL3(...) TM_EVAL2(TM_EVAL2(TM_EVAL2(__VA_ARGS__)))
#define TM_EVAL(...) TM_EVAL3(TM_EVAL3(TM_EVAL3(__VA_ARGS__)))
#define TM_MAP_END(...)
#define TM_MAP_OUT
#define TM_MAP_GET_END2() 0, TM_MAP_END
#define TM_MAP_GET_END1(...) TM_MAP_GET_END2
#define TM_MAP_GET_END(...) TM_MAP_GET_END1
#define TM_MAP_NEXT0(test, next, ...) next TM_MAP_OUT
#define TM_MAP_NEXT1(test, next) TM_MAP_NEXT0(test, next, 0)
#define TM_MAP_NEXT(test, next) TM_MAP_NEXT1(TM_MAP_GET_END test, next)
#define TM_MAP0(f, x, peek, ...) f(x) TM_MAP_NEXT(peek, TM_MAP1)(f, peek, __VA_ARGS__)
#define TM_MAP1(f, x, peek, ...) f(x) TM_MAP_NEXT(peek, TM_MAP0)(f, peek, __VA_ARGS__)
#define TM_MAP(f, ...) TM_EVAL(TM_MAP1(f, __VA_ARGS__, ()()(), ()()(), ()()(), 0))

#define TM_FIELD(name) tm_field(std::string_view(#name), &Tm_type::name);

/// Lists the fields of a struct by their names, at most 64. Write it in the namespace of the
/// struct.
#define TM_FIELDS(Type, ...)                                        \
    template <class Tm_field_function>                              \
    void tm_visit_fields(Type const*, Tm_field_function tm_field) { \
        using Tm_type = Type;                                       \
        TM_MAP(TM_FIELD, __VA_ARGS__)                               \
    }

struct Tm_ignore_field {
    template <class Field>
    void operator()(std::string_view, Field) const {}
};

template <class T, class = void>
struct Tm_has_fields : std::false_type {};
template <class T>
struct Tm_has_fields<
    T, std::void_t<decltype(tm_visit_fields(static_cast<T const*>(nullptr), Tm_ignore_field()))>>
    : std::true_type {};

template <class T>
Tm_struct tm_to_struct(T const& from);

/// Returns the field as something that add_member() takes.
template <class Field>
decltype(auto) tm_sent_field(Field const& field) {
    if constexpr (std::is_enum_v<Field>) {
        return static_cast<std::underlying_type_t<Field>>(field);
    } else if constexpr (Tm_has_fields<Field>::value) {
        return tm_to_struct(field);
    } else if constexpr (Tm_is_vector<Field>::value) {
        using Element = typename Field::value_type;
        if constexpr (std::is_enum_v<Element> || Tm_has_fields<Element>::value ||
                      Tm_is_vector<Element>::value) {
            Tm_array array;
            array.reserve(static_cast<int>(field.size()));
            for (auto const& element : field) array.add_member(tm_sent_field(element));
            return array;
        } else {
            return static_cast<Field const&>(field);
        }
    } else {
        return static_cast<Field const&>(field);
    }
}

/// Returns a struct with a member for each field.
template <class T>
Tm_struct tm_to_struct(T const& from) {
    Tm_struct made;
    tm_visit_fields(&from, [&](std::string_view name, auto field) {
        auto const& value = from.*field;
        if constexpr (Tm_is_optional<std::decay_t<decltype(value)>>::value) {
            if (value) made.add_member(name, tm_sent_field(*value));
        } else {
            made.add_member(name, tm_sent_field(value));
        }
    });
    return made;
}

template <class T>
void tm_read_fields(T& to, Tm_struct const& from);

template <class Field>
void tm_read_field(Field& to, Tm_value const& from) {
    if constexpr (std::is_enum_v<Field>) {
        std::underlying_type_t<Field> number{};
        tm_read_field(number, from);
        to = static_cast<Field>(number);
    } else if constexpr (std::is_floating_point_v<Field>) {
        auto const number = tm_number<double>(from);
        bool const fits = !(std::abs(number) > std::numeric_limits<Field>::max());
        if (!fits && std::isfinite(number)) tm_refuse_number(from, TMV_DOUBLE);
        to = static_cast<Field>(number);
    } else if constexpr (std::is_integral_v<Field> && !std::is_same_v<Field, bool>) {
        to = tm_number<Field>(from);
    } else if constexpr (Tm_has_fields<Field>::value) {
        tm_read_fields(to, *tm_read_member<Tm_struct const*>(&from));
    } else if constexpr (std::is_same_v<Field, std::vector<unsigned char>>) {
        Tm_binary const& bytes = *tm_read_member<Tm_binary const*>(&from);
        to.assign(bytes.get_buffer(), bytes.get_buffer() + bytes.get_buffer_size());
    } else if constexpr (Tm_is_vector<Field>::value) {
        Tm_array const& array = *tm_read_member<Tm_array const*>(&from);
        to.clear();
        for (int i = 0; i < array.get_member_count(); ++i) {
            typename Field::value_type element{};
            try {
                tm_read_field(element, *tm_present(array.get_value(i)));
            } catch (Tm_exception& failure) {
                failure.add_position_before(i);
                throw;
            }
            to.push_back(std::move(element));
        }
    } else if constexpr (tm_is_value<Field>) {
        to = *tm_read_member<Field const*>(&from);
    } else {
        to = tm_read_member<Field>(&from);
    }
}

template <class T>
void tm_read_fields(T& to, Tm_struct const& from) {
    tm_visit_fields(&to, [&](std::string_view name, auto field) {
        auto& value = to.*field;
        using Field = std::decay_t<decltype(value)>;
        Tm_value const* const member = from.find_first(name);
        try {
            if constexpr (Tm_is_optional<Field>::value) {
                if (member != nullptr) tm_read_field(value.emplace(), *member);
            } else {
                if (member == nullptr) throw Tm_name_not_found_exception(std::string(name));
                tm_read_field(value, *member);
            }
        } catch (Tm_exception& failure) {
            failure.add_name_before(name);
            throw;
        }
    });
}

/// Returns a T whose fields are read from the members of these names. Numbers convert as by
/// get_number(). An absent member leaves an optional as T initialises it. Any other absent member,
/// and one of a wrong type, throws the exception of the getters, whose path() and what() begin with
/// the place: "lines[2].count". Members that T does not have are ignored.
template <class T>
T tm_from_struct(Tm_struct const& from) {
    T made{};
    try {
        tm_read_fields(made, from);
    } catch (Tm_exception& failure) {
        failure.add_path_to_text();
        throw;
    }
    return made;
}
