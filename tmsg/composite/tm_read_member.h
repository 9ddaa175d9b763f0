/// Reads values for the typed getters. It has one entry for each result type. Each getter requires
/// one type code and converts nothing:
///
///     int number = tm_read_member<int>(value);                   // get_member_int32()
///     Tm_array const* array = tm_read_member<Tm_array const*>(value);  // get_member_array()
///
/// The result of a class type is the value itself, not a copy. Its container still owns it.
#pragma once

#include <string>
#include <string_view>
#include <type_traits>

#include "tmsg/export.h"
#include "tmsg/fwd.h"
#include "tmsg/value/tm_plain.h"
#include "tmsg/value/tm_scalars.h"
#include "tmsg/value/tm_string.h"
#include "tmsg/value/tm_type_code.h"

class Tm_array;
class Tm_binary;
class Tm_date;
class Tm_file;
class Tm_struct;

/// Returns `member` when it has the type code `type`. Throws Tm_type_mismatch_exception when it has
/// another type code, and Tm_exception when it is null.
TMSG_API Tm_value const* tm_check_member_type(Tm_value const* member, TMV type);

/// Reads an integer through its accessor, which a class of your own may override. The
/// specialisations below read the other types. Each has the type code as `code`, and read(), which
/// needs a value with that type code.
template <class Result>
struct Tm_reading {
    static constexpr TMV code = Tm_plain<Result>::code;
    static Result read(Tm_value const* value) {
        return (static_cast<Tm_int const*>(value)->*Tm_int_accessor<Result>::read)();
    }
};

/// Reads the content of a value.
template <TMV Code, class Value>
struct Tm_content_reading {
    static constexpr TMV code = Code;
    static auto read(Tm_value const* value) { return static_cast<Value const*>(value)->value(); }
};

/// Reads a value as the object of its class.
template <TMV Code, class Value>
struct Tm_object_reading {
    static constexpr TMV code = Code;
    static Value const* read(Tm_value const* value) { return static_cast<Value const*>(value); }
};

// clang-format off
template <> struct Tm_reading<double>           : Tm_content_reading<TMV_DOUBLE, Tm_double> {};
template <> struct Tm_reading<bool>             : Tm_content_reading<TMV_BOOL, Tm_bool> {};
template <> struct Tm_reading<std::string_view> : Tm_content_reading<TMV_STRING, Tm_string> {};
template <> struct Tm_reading<Tm_date const*>   : Tm_object_reading<TMV_DATE, Tm_date> {};
template <> struct Tm_reading<Tm_binary const*> : Tm_object_reading<TMV_BINARY, Tm_binary> {};
template <> struct Tm_reading<Tm_file const*>   : Tm_object_reading<TMV_FILE, Tm_file> {};
template <> struct Tm_reading<Tm_array const*>  : Tm_object_reading<TMV_ARRAY, Tm_array> {};
template <> struct Tm_reading<Tm_struct const*> : Tm_object_reading<TMV_STRUCT, Tm_struct> {};
// clang-format on

/// Reads a string as a zero-terminated text.
template <>
struct Tm_reading<char const*> {
    static constexpr TMV code = TMV_STRING;
    static char const* read(Tm_value const* value) {
        return Tm_reading<std::string_view>::read(value).data();
    }
};

/// Reads an integer of 64 bits, whose type is long, as the other type of that size.
template <>
struct Tm_reading<long long> {
    static constexpr TMV code = TMV_INT64;
    static long long read(Tm_value const* value) { return Tm_reading<long>::read(value); }
};
template <>
struct Tm_reading<unsigned long long> {
    static constexpr TMV code = TMV_UINT64;
    static unsigned long long read(Tm_value const* value) {
        return Tm_reading<unsigned long>::read(value);
    }
};

/// Casts to Message, whose class this layer does not know. `member` must be a message.
TMSG_API Message const* tm_as_message(Tm_value const* member);

/// Reads a string as a copy.
template <>
struct Tm_reading<std::string> {
    static constexpr TMV code = TMV_STRING;
    static std::string read(Tm_value const* value) {
        return std::string(Tm_reading<std::string_view>::read(value));
    }
};

/// Reads a message as the object of its class.
template <>
struct Tm_reading<Message const*> {
    static constexpr TMV code = TMV_MESSAGE;
    static Message const* read(Tm_value const* value) { return tm_as_message(value); }
};

/// Reads a value. Throws what tm_check_member_type() throws.
template <class Result>
Result tm_read_member(Tm_value const* member) {
    using Reading = Tm_reading<Result>;
    return Reading::read(tm_check_member_type(member, Reading::code));
}
