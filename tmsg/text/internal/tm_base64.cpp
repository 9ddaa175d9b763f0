#include "tmsg/text/internal/tm_base64.h"

#include <algorithm>

namespace {

constexpr std::string_view digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr unsigned char no_digit = 64;

constexpr auto values = [] {
    std::array<unsigned char, 256> table{};
    for (auto& value : table) value = no_digit;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        table[static_cast<unsigned char>(digits[i])] = static_cast<unsigned char>(i);
    }
    return table;
}();

unsigned int value_of(char digit) { return values[static_cast<unsigned char>(digit)]; }

unsigned int byte_of(char byte) { return static_cast<unsigned char>(byte); }

char* write_group(char const* bytes, char* at) {
    unsigned int const bits = byte_of(bytes[0]) << 16 | byte_of(bytes[1]) << 8 | byte_of(bytes[2]);
    for (int shift = 18; shift >= 0; shift -= 6) *at++ = digits[bits >> shift & 63];
    return at;
}

std::size_t padding_of(std::string_view text) {
    std::size_t const digits_end = text.find_last_not_of('=') + 1;
    return text.size() - digits_end;
}

}  // namespace

void Tm_base64_writer::add(std::string_view bytes, std::string& text) {
    if (held_ > 0) {
        std::size_t const taken = std::min(group_size - held_, bytes.size());
        std::copy_n(bytes.begin(), taken, group_.begin() + held_);
        held_ += taken;
        bytes.remove_prefix(taken);
        if (held_ < group_size) return;
        held_ = 0;
        add({group_.data(), group_size}, text);
    }
    std::size_t const groups = bytes.size() / group_size;
    std::size_t const before = text.size();
    text.resize(before + groups * 4);
    char* at = text.data() + before;
    for (std::size_t i = 0; i < groups; ++i, bytes.remove_prefix(group_size)) {
        at = write_group(bytes.data(), at);
    }
    std::copy(bytes.begin(), bytes.end(), group_.begin());
    held_ = bytes.size();
}

void Tm_base64_writer::finish(std::string& text) {
    if (held_ == 0) return;
    std::fill(group_.begin() + held_, group_.end(), '\0');
    std::array<char, 4> four{};
    write_group(group_.data(), four.data());
    std::fill(four.begin() + held_ + 1, four.end(), '=');
    text.append(four.data(), four.size());
    held_ = 0;
}

bool tm_is_base64(std::string_view text) {
    if (text.size() % 4 != 0) return false;
    std::size_t const padding = padding_of(text);
    if (padding > 2) return false;
    text.remove_suffix(padding);
    bool const are_digits =
        std::all_of(text.begin(), text.end(), [](char c) { return value_of(c) != no_digit; });
    // With one '=', the last digit has 2 bits that belong to no byte, with two it has 4.
    return are_digits && (padding == 0 || value_of(text.back()) % (1U << 2 * padding) == 0);
}

std::size_t tm_base64_size(std::string_view text) { return text.size() / 4 * 3 - padding_of(text); }

char* tm_read_base64(std::string_view text, char* to) {
    char* const end = to + tm_base64_size(text);
    for (; !text.empty(); text.remove_prefix(4)) {
        unsigned int bits = 0;
        for (char const digit : text.substr(0, 4)) bits = bits << 6 | value_of(digit) % no_digit;
        for (int shift = 16; shift >= 0 && to != end; shift -= 8) {
            *to++ = static_cast<char>(bits >> shift & 255);
        }
    }
    return to;
}
