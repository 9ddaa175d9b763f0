/// Colours, on a terminal that wants them.
#pragma once

#include <string>
#include <string_view>

enum class Colour { none = 0, dim = 2, red = 31, green = 32, cyan = 36 };

/// The text in that colour if standard output is a terminal and NO_COLOR is not set.
std::string painted(Colour colour, std::string_view text);
