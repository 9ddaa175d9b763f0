/// The table of plain types: the eight integer types, double and bool. For a plain type it names
/// the type code, the value class that stores it and the event that sends it:
///
///     Tm_plain<int>::code                       // TMV_INT32
///     Tm_plain<int>::value                      // the class Tm_int32
///     (visitor.*Tm_plain<int>::event)(250);     // visitor.visit_int32(250)
///
/// Tm_plain of any other type does not compile.
#pragma once

#include "tmsg/value/tm_type_code.h"
#include "tmsg/value/tm_visitor.h"

template <class Plain>
class Tm_int_of;
class Tm_double;
class Tm_bool;

template <TMV Code, class Value, auto Event>
struct Tm_plain_entry {
    using value = Value;
    static constexpr TMV code = Code;
    static constexpr auto event = Event;
};

template <class Plain>
struct Tm_plain;

// clang-format off
template <> struct Tm_plain<signed char>    : Tm_plain_entry<TMV_INT8,   Tm_int_of<signed char>,    &Tm_visitor::visit_int8> {};
template <> struct Tm_plain<unsigned char>  : Tm_plain_entry<TMV_UINT8,  Tm_int_of<unsigned char>,  &Tm_visitor::visit_uint8> {};
template <> struct Tm_plain<short>          : Tm_plain_entry<TMV_INT16,  Tm_int_of<short>,          &Tm_visitor::visit_int16> {};
template <> struct Tm_plain<unsigned short> : Tm_plain_entry<TMV_UINT16, Tm_int_of<unsigned short>, &Tm_visitor::visit_uint16> {};
template <> struct Tm_plain<int>            : Tm_plain_entry<TMV_INT32,  Tm_int_of<int>,            &Tm_visitor::visit_int32> {};
template <> struct Tm_plain<unsigned int>   : Tm_plain_entry<TMV_UINT32, Tm_int_of<unsigned int>,   &Tm_visitor::visit_uint32> {};
template <> struct Tm_plain<long>           : Tm_plain_entry<TMV_INT64,  Tm_int_of<long>,           &Tm_visitor::visit_int64> {};
template <> struct Tm_plain<unsigned long>  : Tm_plain_entry<TMV_UINT64, Tm_int_of<unsigned long>,  &Tm_visitor::visit_uint64> {};
template <> struct Tm_plain<double>         : Tm_plain_entry<TMV_DOUBLE, Tm_double,                 &Tm_visitor::visit_double> {};
template <> struct Tm_plain<bool>           : Tm_plain_entry<TMV_BOOL,   Tm_bool,                   &Tm_visitor::visit_bool> {};
// clang-format on
