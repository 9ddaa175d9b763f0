#include "tmsg/value/internal/tm_name_hash.h"

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

template <class Word>
std::uint64_t load(char const* from) {
    Word word = 0;
    std::memcpy(&word, from, sizeof word);
    return word;
}

struct Pair {
    std::uint64_t first;
    std::uint64_t second;
};

/// Loads up to 16 bytes. The two loads may overlap: copying a variable number of bytes is slow.
Pair load_all(char const* from, std::size_t size) {
    if (size >= 8) return {load<std::uint64_t>(from), load<std::uint64_t>(from + size - 8)};
    if (size >= 4) return {load<std::uint32_t>(from), load<std::uint32_t>(from + size - 4)};
    if (size == 0) return {0, 0};
    return {load<std::uint8_t>(from),
            load<std::uint8_t>(from + size / 2) | load<std::uint8_t>(from + size - 1) << 8U};
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
        hash = fold_multiply(load<std::uint64_t>(at) ^ secret.second,
                             load<std::uint64_t>(at + 8) ^ hash);
    }
    Pair const rest = load_all(at, left);
    hash = fold_multiply(rest.first ^ secret.second, rest.second ^ hash);
    return fold_multiply(hash ^ secret.third, name.size() ^ secret.first);
}
