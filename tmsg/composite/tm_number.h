/// Conversion of stored numbers, of any type, to the type that a caller wants.
#pragma once

#include <cmath>
#include <limits>
#include <optional>
#include <type_traits>

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
        auto const converted = static_cast<To>(number);
        bool const fits =
            static_cast<From>(converted) == number && (converted < To{}) == (number < From{});
        return fits ? std::optional<To>(converted) : std::nullopt;
    }
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
    auto const& number = static_cast<Tm_int const&>(value);
    std::optional<T> result;
    // clang-format off
    switch (value.get_value_type()) {
        case TMV_INT8:   result = tm_exact<T>(number.value_int8()); break;
        case TMV_UINT8:  result = tm_exact<T>(number.value_uint8()); break;
        case TMV_INT16:  result = tm_exact<T>(number.value_int16()); break;
        case TMV_UINT16: result = tm_exact<T>(number.value_uint16()); break;
        case TMV_INT32:  result = tm_exact<T>(number.value_int32()); break;
        case TMV_UINT32: result = tm_exact<T>(number.value_uint32()); break;
        case TMV_INT64:  result = tm_exact<T>(number.value_int64()); break;
        case TMV_UINT64: result = tm_exact<T>(number.value_uint64()); break;
        case TMV_DOUBLE: result = tm_exact<T>(static_cast<Tm_double const&>(value).value()); break;
        default: break;
    }
    // clang-format on
    if (!result) tm_refuse_number(value, tm_number_code<T>());
    return *result;
}
