#include "tmsg/value/tm_byte_order.h"

#include <cstring>

namespace {

constexpr std::uint32_t undetermined = 0xFFFFFFFF;

std::uint32_t determine() {
    std::uint16_t const probe = 1;
    unsigned char first = 0;
    std::memcpy(&first, &probe, 1);
    return first == 1 ? 0 : 1;
}

}  // namespace

std::atomic<std::uint32_t> big_endian_cache{undetermined};

bool is_big_endian() {
    std::uint32_t known = big_endian_cache.load(std::memory_order_relaxed);
    if (known == undetermined) {
        known = determine();
        big_endian_cache.store(known, std::memory_order_relaxed);
    }
    return known != 0;
}

void htond(double& value) {
    if (is_big_endian()) return;
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    bits = __builtin_bswap64(bits);
    std::memcpy(&value, &bits, sizeof bits);
}

void ntohd(double& value) { htond(value); }
