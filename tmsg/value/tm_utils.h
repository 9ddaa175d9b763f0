/// Free functions for plain data: numbers as text, byte order, and tables of enumeration values.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/value/tm_binary.h"

// Decimal texts of whole numbers. The text functions return a pointer into a buffer of the calling
// thread, which the next call of the same function on that thread overwrites. The parsers report no
// errors. They return 0 for a text without digits. For a number that is too large they return the
// result of strtoul() or strtol().

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

// The space and the copies of texts and byte strings in plain structures.

/// Returns the sum of length + 9 over the texts, in bytes.
TMSG_API unsigned int tms_string_space_needed(std::vector<std::string> const& strings);
TMSG_API unsigned int tms_string_space_needed(unsigned int count, char const* const* strings);

/// Returns the sum of size + 16 over the byte strings, in bytes.
TMSG_API unsigned int tms_binary_space_needed(std::vector<Tm_binary> const& items);
TMSG_API unsigned int tms_binary_space_needed(unsigned int count, tm_binary_cstruct const* items);

/// Copies the bytes to new memory, which the caller frees with free(). When there is no memory,
/// only the size is set and `target.data` is null.
TMSG_API void tms_binary_copy(tm_binary_cstruct& target, tm_binary_cstruct const* source);
TMSG_API void tms_binary_copy(tm_binary_cstruct& target, Tm_binary const* source);

// The host's byte order, and doubles to and from network order.

/// Holds FFFFFFFFh until the byte order is determined, then 0 on a little-endian host and another
/// value on a big-endian host.
extern TMSG_API std::atomic<std::uint32_t> big_endian_cache;

TMSG_API bool is_big_endian();

/// Both reverse the eight bytes in place on a little-endian host, and do nothing on a big-endian
/// host.
TMSG_API void htond(double& value);
TMSG_API void ntohd(double& value);

// Tables of enumeration values and their names.

/// One entry of a table. The last entry has a null name. Error texts name the first entry.
struct tm_enum_map {
    int value;
    char const* name;
};

/// Both search for the first entry that matches. Names match exactly. Both throw
/// Tm_enum_not_found_exception when no entry matches.
TMSG_API char const* tms_enum_to_string(int value, tm_enum_map const* table);
TMSG_API int tms_string_to_enum(char const* name, tm_enum_map const* table);
