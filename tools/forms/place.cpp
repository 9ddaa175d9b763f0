#include "forms/place.h"

#include <algorithm>

void move_behind(Place& place, std::string_view text) {
    auto const lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    place.line += lines;
    if (lines == 0) {
        place.column += text.size();
    } else {
        place.column = text.size() - text.rfind('\n');
    }
}

std::string place_in(std::string const& name, Place const& place) {
    if (place.line == 0) return name + ": byte " + std::to_string(place.byte);
    return name + ":" + std::to_string(place.line) + ":" + std::to_string(place.column);
}
