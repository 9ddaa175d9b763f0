/// A boolean value.
#pragma once

#include "tmsg/value/tm_value.h"

class TMSG_API Tm_bool : public Tm_value {
public:
    explicit Tm_bool(bool value) : value_(value) {}

    Tm_bool* clone() const override;
    ~Tm_bool() override;
    bool equals(Tm_value const& other) const override;
    TMV get_value_type() const override;
    bool accept(Tm_visitor& visitor) const override;

    bool value() const { return value_; }

private:
    bool value_;
};
