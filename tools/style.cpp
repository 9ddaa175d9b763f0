#include "style.h"

#include <cstdlib>

#include "output.h"

std::string painted(Colour colour, std::string_view text) {
    static bool const wanted = output_is_terminal() && std::getenv("NO_COLOR") == nullptr;
    std::string plain(text);
    if (!wanted || colour == Colour::none) return plain;
    return "\x1B[" + std::to_string(static_cast<int>(colour)) + "m" + plain + "\x1B[0m";
}
