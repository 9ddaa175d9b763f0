/// Finds the line and the column of a place in a text.
#pragma once

#include <algorithm>
#include <string_view>

struct Tm_text_place {
    int line = 0;
    int column = 0;
};

/// Returns the place behind the text `before`, counted from 1, columns in bytes.
inline Tm_text_place tm_place_behind(std::string_view before) {
    auto const line = std::count(before.begin(), before.end(), '\n') + 1;
    std::size_t const column = before.size() - (before.rfind('\n') + 1) + 1;
    return {static_cast<int>(line), static_cast<int>(column)};
}
