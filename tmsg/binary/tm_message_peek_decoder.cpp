#include "tmsg/binary/tm_message_peek_decoder.h"

#include "tmsg/value/tm_wire.h"

namespace {

constexpr long length_size = 2;

}  // namespace

Tm_message_peek_decoder::Tm_message_peek_decoder(unsigned char const* data, long length)
    : data_(data), length_(length) {}

Tm_message_peek_decoder::~Tm_message_peek_decoder() = default;

bool Tm_message_peek_decoder::complete() const {
    long at = read_;
    while (at < length_ && data_[at] == TM_TAG_CALL) ++at;
    if (length_ - at < 1 + length_size || data_[at] != TM_TAG_METHOD_NAME) return false;
    return tm_get_big_endian<std::uint16_t>(data_ + at + 1) <= length_ - at - 1 - length_size;
}

bool Tm_message_peek_decoder::decode() {
    while (read_ < length_ && tm_tag_size(data_[read_]) <= length_ - read_) {
        unsigned char const tag = data_[read_++];
        if (tag == TM_TAG_CALL) continue;
        if (tag != TM_TAG_METHOD_NAME) return false;
        if (length_ - read_ < length_size) {
            --read_;
            return false;
        }
        auto const size = tm_get_big_endian<std::uint16_t>(data_ + read_);
        read_ += length_size;
        method_name_.append(reinterpret_cast<char const*>(data_ + read_), size);
        return true;
    }
    return false;
}
