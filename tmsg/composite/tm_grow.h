/// Room for one more element in a vector of members, in steps that suit small structs.
#pragma once

#include <algorithm>
#include <cstddef>

template <class Vector>
void tm_reserve_next(Vector& vector) {
    constexpr std::size_t first_capacity = 8;
    if (vector.size() == vector.capacity()) {
        vector.reserve(std::max(first_capacity, vector.size() * 2));
    }
}
