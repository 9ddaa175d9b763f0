#include "tmsg/text/tm_text_encoder.h"

#include <algorithm>
#include <cstddef>

Tm_text_encoder::~Tm_text_encoder() = default;

bool Tm_text_encoder::append_hex(char const* data, unsigned int length) {
    constexpr std::size_t width = 3;
    std::size_t const room = limit_ > output_.size() ? limit_ - output_.size() : 1;
    std::size_t const bytes_to_limit = (room + width - 1) / width;
    std::size_t const count = std::min<std::size_t>(length, bytes_to_limit);

    std::size_t const start = output_.size();
    output_.resize(start + count * width);
    char* at = output_.data() + start;
    for (std::size_t i = 0; i < count; ++i, at += width) {
        auto const byte = static_cast<unsigned char>(data[i]);
        at[0] = "0123456789abcdef"[byte >> 4];
        at[1] = "0123456789abcdef"[byte & 15];
        at[2] = ' ';
    }
    return length < bytes_to_limit;
}

void Tm_text_encoder::begin_item(unsigned int length) {
    expected_ = length;
    received_ = 0;
}
