#include "tmsg/value/tm_name_hash.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>

namespace {

__extension__ using uint128 = unsigned __int128;

struct Secret {
    std::uint64_t first;
    std::uint64_t second;
    std::uint64_t third;
};

std::uint64_t random_word(std::random_device& source) {
    return (std::uint64_t{source()} << 32) | source() | 1;
}

Secret make_secret() {
    std::random_device source;
    return {random_word(source), random_word(source), random_word(source)};
}

/// Both halves of the full product, folded: every bit of the result depends on both factors.
std::uint64_t fold_multiply(std::uint64_t a, std::uint64_t b) {
    uint128 const product = uint128{a} * b;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

std::uint64_t load(char const* from, std::size_t size) {
    std::uint64_t word = 0;
    std::memcpy(&word, from, size);
    return word;
}

}  // namespace

std::uint64_t tm_mix(std::uint64_t a, std::uint64_t b) {
    return fold_multiply(a ^ 0x9E3779B97F4A7C15U, b ^ 0x9FB21C651E98DF25U);
}

std::uint64_t tm_hash_name(std::string_view name) {
    static Secret const secret = make_secret();

    std::uint64_t hash = secret.first;
    char const* at = name.data();
    std::size_t left = name.size();
    for (; left > 16; at += 16, left -= 16) {
        hash = fold_multiply(load(at, 8) ^ secret.second, load(at + 8, 8) ^ hash);
    }
    std::size_t const low = std::min<std::size_t>(left, 8);
    std::size_t const high = left - low;
    std::uint64_t const a = low == 0 ? 0 : load(at, low);
    std::uint64_t const b = high == 0 ? 0 : load(at + low, high);
    hash = fold_multiply(a ^ secret.second, b ^ hash);
    return fold_multiply(hash ^ secret.third, name.size() ^ secret.first);
}
