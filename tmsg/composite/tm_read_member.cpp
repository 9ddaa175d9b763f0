#include "tmsg/composite/tm_read_member.h"

#include "tmsg/composite/tm_array.h"
#include "tmsg/composite/tm_slot.h"
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

template <class Plain>
struct Plain_reading {
    static constexpr TMV code = Tm_plain<Plain>::code;
    static Plain read(Tm_value const* member) {
        return static_cast<typename Tm_plain<Plain>::value const*>(member)->value();
    }
};

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
struct Reading<char const*> {
    static constexpr TMV code = TMV_STRING;
    static char const* read(Tm_value const* member) {
        return static_cast<Tm_string const*>(member)->value().c_str();
    }
};

template <>
struct Reading<Message const*> {
    static constexpr TMV code = TMV_MESSAGE;
    static Message const* read(Tm_value const* member) { return tm_as_message(member); }
};

}  // namespace

Tm_value const* tm_check_member_type(Tm_value const* member, TMV type) {
    TMV const actual = tm_present(member).get_value_type();
    if (actual != type) throw Tm_type_mismatch_exception(actual, type);
    return member;
}

template <class Result>
Result tm_read_member(Tm_value const* member) {
    return Reading<Result>::read(tm_check_member_type(member, Reading<Result>::code));
}

template signed char tm_read_member(Tm_value const*);
template unsigned char tm_read_member(Tm_value const*);
template short tm_read_member(Tm_value const*);
template unsigned short tm_read_member(Tm_value const*);
template int tm_read_member(Tm_value const*);
template unsigned int tm_read_member(Tm_value const*);
template long tm_read_member(Tm_value const*);
template unsigned long tm_read_member(Tm_value const*);
template double tm_read_member(Tm_value const*);
template bool tm_read_member(Tm_value const*);
template char const* tm_read_member(Tm_value const*);
template Tm_date const* tm_read_member(Tm_value const*);
template Tm_binary const* tm_read_member(Tm_value const*);
template Tm_file const* tm_read_member(Tm_value const*);
template Tm_array const* tm_read_member(Tm_value const*);
template Tm_struct const* tm_read_member(Tm_value const*);
template Message const* tm_read_member(Tm_value const*);
