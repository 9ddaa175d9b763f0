/// Places in an input, and errors at a place.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "io/system.h"

/// A byte of an input in a binary form, or a line and a column of a text.
struct Place {
    std::size_t byte = 0;    ///< counted from 0
    std::size_t line = 0;    ///< counted from 1; 0 in a binary form
    std::size_t column = 0;  ///< counted from 1, in bytes
};

inline Place at_byte(std::size_t byte) { return {byte, 0, 0}; }
inline Place at_line(std::size_t line, std::size_t column) { return {0, line, column}; }

/// Moves the place in a text to the end of the text.
void move_behind(Place& place, std::string_view text);

/// Returns "NAME: byte N" or "NAME:LINE:COLUMN".
std::string place_in(std::string const& name, Place const& place);

/// Bad input at a place. The text names neither the input nor the place.
class Damage : public Failure {
public:
    Damage(Place const& place, std::string const& text) : Failure(text), place_(place) {}

    Place const& place() const { return place_; }

private:
    Place place_;
};
