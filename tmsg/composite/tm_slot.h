/// What composites ask of a slot, which may be empty.
#pragma once

#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_value.h"

/// The value, or Tm_exception for an empty slot.
inline Tm_value const& tm_present(Tm_value const* value) {
    if (value == nullptr) throw Tm_exception("member without a value");
    return *value;
}

inline bool tm_equal_or_both_absent(Tm_value const* left, Tm_value const* right) {
    if (left == nullptr || right == nullptr) return left == right;
    return *left == *right;
}
