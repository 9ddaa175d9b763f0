/// Conversion of stored numbers, of any type, to the type that a caller wants.
#pragma once

#include <cmath>
#include <limits>
#include <optional>
#include <type_traits>

#include "tmsg/composite/tm_read_member.h"
#include "tmsg/export.h"
#include "tmsg/value/tm_scalars.h"

/// Returns nothing when the type To cannot hold the number exactly.
template <class To, class From>
std::optional<To> tm_exact(From number) {
    if constexpr (std::is_same_v<To, From>) {
        return number;
    } else if constexpr (std::is_floating_point_v<From>) {
        double const end = std::ldexp(1.0, std::numeric_limits<To>::digits);
        double const begin = std::is_signed_v<To> ? -end : 0.0;
        bool const fits = number >= begin && number < end && number == std::trunc(number);
        return fits ? std::optional<To>(static_cast<To>(number)) : std::nullopt;
    } else if constexpr (std::is_floating_point_v<To>) {
        auto const rounded = static_cast<To>(number);
        return tm_exact<From>(rounded) == number ? std::optional<To>(rounded) : std::nullopt;
    } else {
        // NOLINTNEXTLINE(bugprone-signed-char-misuse,cert-str34-c): signed char is a number here
        auto const converted = static_cast<To>(number);
        bool const fits =
            static_cast<From>(converted) == number && (converted < To{}) == (number < From{});
        return fits ? std::optional<To>(converted) : std::nullopt;
    }
}

inline bool tm_is_number(Tm_value const& value) { return value.get_value_type() <= TMV_DOUBLE; }

/// Calls the function with the number, which is of its own C++ type, and returns what it returns.
/// `number` must be a number.
template <class Function>
decltype(auto) tm_visit_number(Tm_value const& number, Function& call) {
    // clang-format off
    switch (number.get_value_type()) {
        case TMV_INT8: return call(Tm_reading<signed char>::read(&number));
        case TMV_UINT8: return call(Tm_reading<unsigned char>::read(&number));
        case TMV_INT16: return call(Tm_reading<short>::read(&number));
        case TMV_UINT16: return call(Tm_reading<unsigned short>::read(&number));
        case TMV_INT32: return call(Tm_reading<int>::read(&number));
        case TMV_UINT32: return call(Tm_reading<unsigned int>::read(&number));
        case TMV_INT64: return call(Tm_reading<long>::read(&number));
        case TMV_UINT64: return call(Tm_reading<unsigned long>::read(&number));
        default: return call(Tm_reading<double>::read(&number));
    }
    // clang-format on
}

/// Throw the exceptions of get_number(). `wanted` is the type code of the wanted type.
[[noreturn]] TMSG_API void tm_refuse_number(Tm_value const& number, TMV wanted);

template <class T>
constexpr TMV tm_number_code() {
    if constexpr (std::is_floating_point_v<T>) return TMV_DOUBLE;
    constexpr TMV of_signed[] = {TMV_INT8, TMV_INT16, TMV_INT32, TMV_INT64};
    constexpr TMV of_unsigned[] = {TMV_UINT8, TMV_UINT16, TMV_UINT32, TMV_UINT64};
    constexpr int size = sizeof(T) == 1 ? 0 : sizeof(T) == 2 ? 1 : sizeof(T) == 4 ? 2 : 3;
    return std::is_signed_v<T> ? of_signed[size] : of_unsigned[size];
}

/// Returns the number as get_number() does (see tm_finders.h).
template <class T>
T tm_number(Tm_value const& value) {
    static_assert((std::is_integral_v<T> && !std::is_same_v<T, bool>) || std::is_same_v<T, double>);
    auto const exact = [](auto number) { return tm_exact<T>(number); };
    std::optional<T> result;
    if (tm_is_number(value)) result = tm_visit_number(value, exact);
    if (!result) tm_refuse_number(value, tm_number_code<T>());
    return *result;
}
