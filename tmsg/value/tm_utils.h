/// Free functions for plain data: numbers as text, byte order, and tables of enumeration values.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/value/tm_binary.h"

// Decimal texts of whole numbers.
//
// The functions that return a text use a buffer of the calling thread. The next call of the same
// function on that thread overwrites it.
// The functions that read a text report no errors. They return 0 for a text without digits, and the
// result of strtoul() or strtol() for a number that is too large. The text must not be null.

/// A number of 96 bits.
struct uint96_t {
    std::uint64_t low;
    std::uint32_t high;
};

/// Returns the low 32 bits of the parsed number.
TMSG_API unsigned int string_to_uint32(char const* text);
TMSG_API long string_to_int64(char const* text);
TMSG_API unsigned long string_to_uint64(char const* text);
/// Parses "HIGH:LOW". Both parts are 0 when there is no colon.
TMSG_API uint96_t string_to_uint96(char const* text);

TMSG_API char const* uint32_to_string(unsigned int const& value);
TMSG_API char const* int64_to_string(long const& value);
TMSG_API char const* uint64_to_string(unsigned long const& value);
/// Also overwrites the buffers of uint32_to_string() and uint64_to_string().
TMSG_API char const* uint96_to_string(uint96_t const& value);

// The space that texts and byte strings need in plain structures, and copies of byte strings.

/// Returns the sum of length + 9 over the texts, in bytes.
TMSG_API unsigned int tms_string_space_needed(std::vector<std::string> const& strings);
TMSG_API unsigned int tms_string_space_needed(unsigned int count, char const* const* strings);

/// Returns the sum of size + 16 over the byte strings, in bytes.
TMSG_API unsigned int tms_binary_space_needed(std::vector<Tm_binary> const& items);
TMSG_API unsigned int tms_binary_space_needed(unsigned int count, tm_binary_cstruct const* items);

/// Both copy the bytes to new memory, which the caller owns and frees with free(). They do not free
/// what `target` pointed to before. Without memory, they set the size and set `target.data` to
/// null.
TMSG_API void tms_binary_copy(tm_binary_cstruct& target, tm_binary_cstruct const* source);
TMSG_API void tms_binary_copy(tm_binary_cstruct& target, Tm_binary const* source);

// The host's byte order, and doubles to and from network order.

/// Holds FFFFFFFFh until the byte order is determined, then 0 on a little-endian host and another
/// value on a big-endian host.
extern TMSG_API std::atomic<std::uint32_t> big_endian_cache;

TMSG_API bool is_big_endian();

/// Both reverse the eight bytes of `value` on a little-endian host, and do nothing on a big-endian
/// host.
TMSG_API void htond(double& value);
TMSG_API void ntohd(double& value);

// Tables of enumeration values and their names.

/// One entry of a table. The last entry has a null name. Error texts name the first entry.
struct tm_enum_map {
    int value;
    char const* name;
};

/// Both search for the first entry that matches. They compare names exactly. They throw
/// Tm_enum_not_found_exception when no entry matches. The result is valid as long as the table.
TMSG_API char const* tms_enum_to_string(int value, tm_enum_map const* table);
TMSG_API int tms_string_to_enum(char const* name, tm_enum_map const* table);
