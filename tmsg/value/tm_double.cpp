#include "tmsg/value/tm_double.h"

#include "tmsg/value/tm_visitor.h"

Tm_double::~Tm_double() = default;

Tm_double* Tm_double::clone() const { return new Tm_double(*this); }

bool Tm_double::equals(Tm_value const& other) const {
    return other.get_value_type() == TMV_DOUBLE &&
           static_cast<Tm_double const&>(other).value_ == value_;
}

TMV Tm_double::get_value_type() const { return TMV_DOUBLE; }

bool Tm_double::accept(Tm_visitor& visitor) const { return visitor.visit_double(value_); }
