#pragma once

#include <string>

#include "tmsg/creator/tm_leaf_state.h"

/// Builds a string value. A text too long for one becomes the error.
class Tm_string_creator : public Tm_leaf_state {
public:
    Tm_string_creator(Tm_destination destination, unsigned int length);

    bool visit_string_continue(char const* data, unsigned int length) override;
    char const* get_name() const override { return "string"; }

private:
    std::string text_;
};
