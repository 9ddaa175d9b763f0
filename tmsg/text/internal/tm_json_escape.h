/// Strings of JSON. Every byte outside of printable ASCII is escaped by itself.
#pragma once

#include <cstddef>

/// An escaped byte takes at most so many.
constexpr std::size_t tm_longest_escape = 6;

/// Returns the end of the escaped text, which the caller has room for.
char* tm_write_escaped(char const* data, std::size_t length, char* at);
