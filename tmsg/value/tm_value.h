/// The abstract root of every value tree. A tree is owned from its root down, copied deeply by
/// clone() and never serialised by itself: it walks itself into a Tm_visitor. Users may derive.
#pragma once

#include "tmsg/export.h"
#include "tmsg/value/tm_type_code.h"

class Tm_visitor;

class TMSG_API Tm_value {
public:
    Tm_value() = default;
    Tm_value(Tm_value const&) = default;
    Tm_value& operator=(Tm_value const&) = delete;

    /// A deep copy that the caller owns.
    virtual Tm_value* clone() const = 0;
    virtual ~Tm_value();
    /// Equality of content; false for another type code.
    virtual bool equals(Tm_value const& other) const = 0;
    virtual TMV get_value_type() const = 0;
    /// Sends the value's events. False: the visitor refused one; the next accept() with the same
    /// visitor goes on from there, provided that the tree did not change in between.
    virtual bool accept(Tm_visitor& visitor) const = 0;

    /// Display name of a type code; "unknown" for every code above TMV_STRUCT.
    static char const* tmv_to_string(TMV type);
};

/// True when the type codes are equal and then left.equals(right).
TMSG_API bool operator==(Tm_value const& left, Tm_value const& right);
TMSG_API bool operator!=(Tm_value const& left, Tm_value const& right);
