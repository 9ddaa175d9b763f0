/// The hash of names. A secret of the process goes into it, so that nobody can choose names that
/// collide.
#pragma once

#include <cstdint>
#include <string_view>

std::uint64_t tm_hash_name(std::string_view name);

/// A hash of two numbers.
std::uint64_t tm_mix(std::uint64_t a, std::uint64_t b);
