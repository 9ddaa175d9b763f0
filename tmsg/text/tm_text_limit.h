/// The limit on the length of a text, and its error text.
#pragma once

#include <limits>
#include <string>

constexpr unsigned long tm_no_text_limit = std::numeric_limits<unsigned long>::max();

inline std::string tm_text_too_long(unsigned long limit) {
    return "text longer than " + std::to_string(limit) + " bytes";
}
