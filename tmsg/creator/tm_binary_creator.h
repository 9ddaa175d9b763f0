#pragma once

#include <vector>

#include "tmsg/creator/tm_leaf_state.h"

/// Builds a byte string, which takes the collected bytes over.
class Tm_binary_creator : public Tm_leaf_state {
public:
    Tm_binary_creator(Tm_destination destination, unsigned int length);

    bool visit_binary_continue(char const* data, unsigned int length) override;
    char const* get_name() const override { return "binary"; }

private:
    std::vector<unsigned char> bytes_;
};
