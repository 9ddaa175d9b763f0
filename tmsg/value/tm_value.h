/// The abstract base class of all values. A container owns the values in it, so that the root of a
/// tree owns the whole tree. You may derive classes of your own.
#pragma once

#include "tmsg/export.h"
#include "tmsg/value/tm_type_code.h"

class Tm_visitor;

class TMSG_API Tm_value {
public:
    Tm_value() = default;
    Tm_value(Tm_value const&) = default;
    Tm_value& operator=(Tm_value const&) = delete;

    /// Returns a deep copy, which the caller owns.
    virtual Tm_value* clone() const = 0;
    virtual ~Tm_value();
    /// Compares the contents. Returns false for a value of another type code.
    virtual bool equals(Tm_value const& other) const = 0;
    virtual TMV get_value_type() const = 0;
    /// Sends the events of the value, and of all values in it, to the visitor. Returns false when
    /// the visitor refuses an event. The next accept() with the same visitor then goes on with that
    /// event. The tree must not change in between.
    virtual bool accept(Tm_visitor& visitor) const = 0;

    /// Returns the name of a type code, and "unknown" for every code above TMV_STRUCT.
    static char const* tmv_to_string(TMV type);
};

/// Returns true when the type codes are equal and left.equals(right) is true.
TMSG_API bool operator==(Tm_value const& left, Tm_value const& right);
TMSG_API bool operator!=(Tm_value const& left, Tm_value const& right);
