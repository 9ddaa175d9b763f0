/// Strings of JSON. Each byte outside of printable ASCII is escaped, one at a time.
#pragma once

#include <cstddef>

/// The most bytes that one escaped byte takes.
constexpr std::size_t tm_longest_escape = 6;

/// Writes the escaped text to `at`, where the caller must have room for length * tm_longest_escape
/// bytes. Returns the end of the escaped text.
char* tm_write_escaped(char const* data, std::size_t length, char* at);
