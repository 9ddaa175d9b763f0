#include "tmsg/value/tm_bool.h"

#include "tmsg/value/tm_visitor.h"

Tm_bool::~Tm_bool() = default;

Tm_bool* Tm_bool::clone() const { return new Tm_bool(*this); }

bool Tm_bool::equals(Tm_value const& other) const {
    return other.get_value_type() == TMV_BOOL &&
           static_cast<Tm_bool const&>(other).value_ == value_;
}

TMV Tm_bool::get_value_type() const { return TMV_BOOL; }

bool Tm_bool::accept(Tm_visitor& visitor) const { return visitor.visit_bool(value_); }
