#pragma once

#include <memory>

#include "tmsg/composite/tm_array.h"
#include "tmsg/creator/tm_value_receiver.h"

/// Fills an array of the caller's with every value that comes; it never finishes.
class Tm_base_array_creator : public Tm_value_receiver {
public:
    Tm_base_array_creator(Tm_array* target, Tm_build_context const* context);

    char const* get_name() const override { return "base array"; }

protected:
    bool expects_value() const override { return true; }
    void value_begun() override {}
    Tm_destination destination() const override { return Tm_destination(target_); }

private:
    Tm_array* target_;
};

/// Builds a nested array up to its end.
class Tm_array_creator : public Tm_base_array_creator {
public:
    Tm_array_creator(Tm_destination destination, Tm_build_context const* context);

    bool visit_array_end() override;
    char const* get_name() const override { return "array"; }

private:
    Tm_array_creator(Tm_destination destination, Tm_build_context const* context,
                     std::unique_ptr<Tm_array> array);

    Tm_destination place_;
    std::unique_ptr<Tm_array> array_;
};
