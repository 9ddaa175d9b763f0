/// A value of IEEE 754 binary64. Equality is IEEE's: NaN equals nothing, +0.0 equals -0.0.
#pragma once

#include "tmsg/value/tm_value.h"

class TMSG_API Tm_double : public Tm_value {
public:
    explicit Tm_double(double value) : value_(value) {}

    Tm_double* clone() const override;
    ~Tm_double() override;
    bool equals(Tm_value const& other) const override;
    TMV get_value_type() const override;
    bool accept(Tm_visitor& visitor) const override;

    double value() const { return value_; }

private:
    double value_;
};
