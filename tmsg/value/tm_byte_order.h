/// The host's byte order, and doubles to and from network order.
#pragma once

#include <atomic>
#include <cstdint>

#include "tmsg/export.h"

/// FFFFFFFFh until determined, then 0 on a little-endian host and another value on a big-endian.
extern TMSG_API std::atomic<std::uint32_t> big_endian_cache;

TMSG_API bool is_big_endian();

/// Both reverse the eight bytes in place on a little-endian host.
TMSG_API void htond(double& value);
TMSG_API void ntohd(double& value);
