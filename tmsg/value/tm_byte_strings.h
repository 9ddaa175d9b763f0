/// Lists of texts and byte strings held in plain structures: their space and their copies.
#pragma once

#include <string>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/value/tm_binary.h"

/// The sum of length + 9 over the texts, in bytes.
TMSG_API unsigned int tms_string_space_needed(std::vector<std::string> const& strings);
TMSG_API unsigned int tms_string_space_needed(unsigned int count, char const* const* strings);

/// The sum of size + 16 over the byte strings, in bytes.
TMSG_API unsigned int tms_binary_space_needed(std::vector<Tm_binary> const& items);
TMSG_API unsigned int tms_binary_space_needed(unsigned int count, tm_binary_cstruct const* items);

/// A copy in memory of malloc that the caller frees with free. When there is no memory,
/// `target.data` is null and only the size is set.
TMSG_API void tms_binary_copy(tm_binary_cstruct& target, tm_binary_cstruct const* source);
TMSG_API void tms_binary_copy(tm_binary_cstruct& target, Tm_binary const* source);
