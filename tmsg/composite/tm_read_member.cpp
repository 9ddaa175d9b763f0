#include "tmsg/composite/tm_read_member.h"

#include <type_traits>

#include "tmsg/composite/tm_array.h"
#include "tmsg/composite/tm_make_value.h"
#include "tmsg/composite/tm_struct.h"
#include "tmsg/value/tm_binary.h"
#include "tmsg/value/tm_bool.h"
#include "tmsg/value/tm_date.h"
#include "tmsg/value/tm_double.h"
#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_file.h"
#include "tmsg/value/tm_int.h"
#include "tmsg/value/tm_plain.h"
#include "tmsg/value/tm_string.h"

namespace {

/// Integers; the specialisations below are for the other plain types, text and objects.
template <class Result>
struct Reading {
    static constexpr TMV code = Tm_plain<Result>::code;
    static Result read(Tm_value const* member) {
        return (static_cast<Tm_int const*>(member)->*Tm_int_accessor<Result>::read)();
    }
};

template <TMV Code, class Value>
struct Plain_reading_of {
    static constexpr TMV code = Code;
    static auto read(Tm_value const* member) { return static_cast<Value const*>(member)->value(); }
};

template <class Plain>
using Plain_reading = Plain_reading_of<Tm_plain<Plain>::code, typename Tm_plain<Plain>::value>;

template <TMV Code, class Value>
struct Object_reading {
    static constexpr TMV code = Code;
    static Value const* read(Tm_value const* member) { return static_cast<Value const*>(member); }
};

// clang-format off
template <> struct Reading<double>           : Plain_reading<double> {};
template <> struct Reading<bool>             : Plain_reading<bool> {};
template <> struct Reading<Tm_date const*>   : Object_reading<TMV_DATE, Tm_date> {};
template <> struct Reading<Tm_binary const*> : Object_reading<TMV_BINARY, Tm_binary> {};
template <> struct Reading<Tm_file const*>   : Object_reading<TMV_FILE, Tm_file> {};
template <> struct Reading<Tm_array const*>  : Object_reading<TMV_ARRAY, Tm_array> {};
template <> struct Reading<Tm_struct const*> : Object_reading<TMV_STRUCT, Tm_struct> {};
// clang-format on

template <>
struct Reading<std::string_view> : Plain_reading_of<TMV_STRING, Tm_string> {};

template <>
struct Reading<char const*> {
    static constexpr TMV code = TMV_STRING;
    static char const* read(Tm_value const* member) {
        return static_cast<Tm_string const*>(member)->value().data();
    }
};

template <>
struct Reading<Message const*> {
    static constexpr TMV code = TMV_MESSAGE;
    static Message const* read(Tm_value const* member) { return tm_as_message(member); }
};

}  // namespace

Tm_value const* tm_check_member_type(Tm_value const* member, TMV type) {
    TMV const actual = tm_present(member)->get_value_type();
    if (actual != type) throw Tm_type_mismatch_exception(actual, type);
    return member;
}

template <class Result>
Result tm_read_member(Tm_value const* member) {
    return Reading<Result>::read(tm_check_member_type(member, Reading<Result>::code));
}

/// A value in its slot is one of the library's own, which needs no virtual call.
template <class Result>
Result Tm_value_container::read(std::size_t i) const {
    constexpr TMV code = Reading<Result>::code;
    if constexpr (code <= TMV_STRING) {
        if (kinds()[i] == code) {
            if constexpr (std::is_arithmetic_v<Result>) {
                return in_place<typename Tm_plain<Result>::value const>(i)->value();
            } else {
                return Reading<Result>::read(in_place<Tm_string const>(i));
            }
        }
    }
    return Reading<Result>::read(at(i, code));
}

template <class Result>
Result Tm_struct::read_member(int i) const {
    return is_plain() ? values_.read<Result>(values_.checked(i))
                      : tm_read_member<Result>(get_value(i));
}

template <class Result>
Result Tm_struct::read_member(char const* name) const {
    return read_member<Result>(get_number(name));
}

#define TM_INSTANTIATE(Result)                                   \
    template Result tm_read_member(Tm_value const*);             \
    template Result Tm_value_container::read(std::size_t) const; \
    template Result Tm_struct::read_member(int) const;           \
    template Result Tm_struct::read_member(char const*) const

TM_INSTANTIATE(signed char);
TM_INSTANTIATE(unsigned char);
TM_INSTANTIATE(short);
TM_INSTANTIATE(unsigned short);
TM_INSTANTIATE(int);
TM_INSTANTIATE(unsigned int);
TM_INSTANTIATE(long);
TM_INSTANTIATE(unsigned long);
TM_INSTANTIATE(double);
TM_INSTANTIATE(bool);
TM_INSTANTIATE(char const*);
TM_INSTANTIATE(std::string_view);
TM_INSTANTIATE(Tm_date const*);
TM_INSTANTIATE(Tm_binary const*);
TM_INSTANTIATE(Tm_file const*);
TM_INSTANTIATE(Tm_array const*);
TM_INSTANTIATE(Tm_struct const*);
TM_INSTANTIATE(Message const*);
