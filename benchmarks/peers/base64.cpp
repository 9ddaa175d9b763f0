#include "base64.h"

namespace peers {

namespace {

constexpr std::string_view letters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::array<unsigned char, 256> make_values() {
    std::array<unsigned char, 256> table{};
    for (std::size_t i = 0; i < letters.size(); ++i)
        table[static_cast<unsigned char>(letters[i])] = static_cast<unsigned char>(i);
    return table;
}

std::uint32_t bits(unsigned char first, unsigned char second = 0, unsigned char third = 0) {
    return std::uint32_t{first} << 16 | std::uint32_t{second} << 8 | third;
}

}  // namespace

std::string to_base64(BytesView bytes) {
    std::string out((bytes.size + 2) / 3 * 4, '=');
    char* to = out.data();
    auto const put = [&](std::uint32_t group, int count) {
        for (int i = 0; i < count; ++i) to[i] = letters[(group >> (18 - 6 * i)) & 63];
        to += 4;
    };
    auto const* from = bytes.data;
    std::size_t left = bytes.size;
    for (; left >= 3; left -= 3, from += 3) put(bits(from[0], from[1], from[2]), 4);
    if (left == 1) put(bits(from[0]), 2);
    if (left == 2) put(bits(from[0], from[1]), 3);
    return out;
}

std::vector<unsigned char> from_base64(std::string_view text) {
    static constexpr auto values = make_values();
    std::vector<unsigned char> out(text.size() / 4 * 3);
    unsigned char* to = out.data();
    for (std::size_t i = 0; i + 4 <= text.size(); i += 4, to += 3) {
        std::uint32_t group = 0;
        for (char c : text.substr(i, 4)) group = group << 6 | values[static_cast<unsigned char>(c)];
        to[0] = static_cast<unsigned char>(group >> 16 & 0xff);
        to[1] = static_cast<unsigned char>(group >> 8 & 0xff);
        to[2] = static_cast<unsigned char>(group & 0xff);
    }
    for (; !text.empty() && text.back() == '='; text.remove_suffix(1)) out.pop_back();
    return out;
}

}  // namespace peers
