/// Decimal texts of whole numbers. The text functions answer a pointer into a buffer of the
/// calling thread that the next call of the same function on that thread overwrites. The parsers
/// report no errors: text without digits gives 0, a number too large what strtoul and its kin give.
#pragma once

#include <cstdint>

#include "tmsg/export.h"

struct uint96_t {
    std::uint64_t low;
    std::uint32_t high;
};

/// The low 32 bits of the parsed number.
TMSG_API unsigned int string_to_uint32(char const* text);
TMSG_API long string_to_int64(char const* text);
TMSG_API unsigned long string_to_uint64(char const* text);
/// "HIGH:LOW"; both parts 0 when there is no colon.
TMSG_API uint96_t string_to_uint96(char const* text);

TMSG_API char const* uint32_to_string(unsigned int const& value);
TMSG_API char const* int64_to_string(long const& value);
TMSG_API char const* uint64_to_string(unsigned long const& value);
/// Uses the buffers of the 32-bit and 64-bit functions too.
TMSG_API char const* uint96_to_string(uint96_t const& value);
