#include "tmsg/text/tm_text_encoder.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "tmsg/text/internal/tm_six_digits.h"

namespace {

constexpr std::size_t hex_width = 3;
using Hex_text = std::array<char, hex_width + 1>;  // four bytes are copied at once

/// The text of each byte, for example "ab ".
constexpr auto hex_texts = [] {
    std::array<Hex_text, 256> texts{};
    for (std::size_t byte = 0; byte < texts.size(); ++byte) {
        texts[byte] = {"0123456789abcdef"[byte / 16], "0123456789abcdef"[byte % 16], ' '};
    }
    return texts;
}();

char* write_hex(char byte, char* at) {
    std::memcpy(at, &hex_texts[static_cast<unsigned char>(byte)], sizeof(Hex_text));
    return at + hex_width;
}

}  // namespace

Tm_text_encoder::~Tm_text_encoder() = default;

/// The room is filled with zeros first. Short texts therefore get little of it, and long ones no
/// more than fits into the processor's caches.
void Tm_text_encoder::grow(std::size_t size) {
    constexpr std::size_t least_ahead = 256;
    constexpr std::size_t most_ahead = 4096;
    constexpr std::size_t piece_size = 1 << 16;
    if (sink_ && size_ >= piece_size) hand_over();
    if (size <= output_.size() - size_) return;
    output_.resize(size_ + size + std::clamp(size_, least_ahead, most_ahead));
}

void Tm_text_encoder::hand_over() {
    sink_(std::string_view(output_).substr(0, size_));
    limit_left_ -= std::min(size_, limit_left_);
    size_ = 0;
}

void Tm_text_encoder::append_plain(double value) {
    end_text(tm_write_six_digits(value, make_room(number_size)));
}

bool Tm_text_encoder::append_hex(char const* data, unsigned int length) {
    std::size_t const room = limit_left_ > size_ ? limit_left_ - size_ : 1;
    std::size_t const bytes_to_limit = (room + hex_width - 1) / hex_width;
    std::size_t const count = std::min<std::size_t>(length, bytes_to_limit);

    char* at = make_room(count * hex_width + 1);
    char const* const end = data + count;
    constexpr int unrolled = 8;  // the loop costs more than its body
    while (end - data >= unrolled) {
        for (int i = 0; i < unrolled; ++i) at = write_hex(*data++, at);
    }
    while (data != end) at = write_hex(*data++, at);
    end_text(at);
    return length < bytes_to_limit;
}
