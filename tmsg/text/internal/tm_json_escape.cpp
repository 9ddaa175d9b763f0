#include "tmsg/text/internal/tm_json_escape.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace {

/// For each byte: 0 when the byte is not escaped, else the character after the backslash.
constexpr std::array<char, 256> make_escapes() {
    std::array<char, 256> escapes{};
    for (std::size_t byte = 0; byte < escapes.size(); ++byte) {
        escapes[byte] = byte >= ' ' && byte <= '~' ? '\0' : 'u';
    }
    escapes['"'] = '"';
    escapes['\\'] = '\\';
    escapes['\b'] = 'b';
    escapes['\t'] = 't';
    escapes['\n'] = 'n';
    escapes['\f'] = 'f';
    escapes['\r'] = 'r';
    return escapes;
}

constexpr std::array<char, 256> escapes = make_escapes();

char escape_of(char c) { return escapes[static_cast<unsigned char>(c)]; }

using Block = std::uint64_t;

constexpr Block in_each_byte(unsigned char byte) { return Block{0x0101010101010101} * byte; }

constexpr std::ptrdiff_t block_size = sizeof(Block);

bool is_plain_block(char const* data) {
    Block block = 0;
    std::memcpy(&block, data, sizeof block);
    // A top bit is set here only by a byte that is escaped, or by its carry into the next bytes.
    Block const control = block - in_each_byte(' ');
    Block const above_tilde = block | (block + in_each_byte(0x7F - '~'));
    Block const quote = (block ^ in_each_byte('"')) - in_each_byte(1);
    Block const backslash = (block ^ in_each_byte('\\')) - in_each_byte(1);
    return ((control | above_tilde | quote | backslash) & in_each_byte(0x80)) == 0;
}

char const* find_escaped(char const* data, char const* end) {
    if (end - data >= block_size) {
        char const* const last_block = end - block_size;
        while (data < last_block && is_plain_block(data)) data += block_size;
        if (data >= last_block && is_plain_block(last_block)) return end;
    }
    return std::find_if(data, end, escape_of);
}

char* write_escape(char c, char* at) {
    auto const byte = static_cast<unsigned char>(c);
    *at++ = '\\';
    *at++ = escape_of(c);
    if (escape_of(c) != 'u') return at;
    for (char const digit :
         {'0', '0', "0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]}) {
        *at++ = digit;
    }
    return at;
}

}  // namespace

char* tm_write_escaped(char const* data, std::size_t length, char* at) {
    char const* const end = data + length;
    while (data != end) {
        char const* const escaped = find_escaped(data, end);
        at = std::copy(data, escaped, at);
        data = escaped;
        while (data != end && escape_of(*data) != '\0') at = write_escape(*data++, at);
    }
    return at;
}
