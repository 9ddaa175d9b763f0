/// Room for the wire form in a chunk that is being filled. The binary encoder offers it to the
/// values of the library, which write their items straight into it instead of passing events.
///
/// As with events, an item that begins in front of the chunk's end is taken whole, and one that
/// begins behind it is refused; up to 128 bytes may run past the end.
#pragma once

#include <cstring>
#include <type_traits>

#include "tmsg/value/tm_text.h"
#include "tmsg/value/tm_wire.h"

class Tm_wire_room {
public:
    Tm_wire_room() = default;
    Tm_wire_room(unsigned char* at, unsigned char* end) : at_(at), end_(end) {}

    unsigned char* at() const { return at_; }
    /// Bytes up to the chunk's end; none or less when it is full.
    long left() const { return end_ - at_; }
    void advance(long bytes) { at_ += bytes; }

    bool put_tag(unsigned char tag) {
        if (left() <= 0) return false;
        *at_++ = tag;
        return true;
    }
    template <class Number>
    bool put(unsigned char tag, Number number) {
        if (left() <= 0) return false;
        at_[0] = tag;
        tm_put_big_endian(at_ + 1, static_cast<std::make_unsigned_t<Number>>(number));
        at_ += 1 + sizeof number;
        return true;
    }
    bool put(unsigned char tag, double value) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        return put(tag, bits);
    }
    bool put(unsigned char tag, bool value) {
        return put(tag, static_cast<unsigned char>(value ? 1 : 0));
    }
    bool put_member(unsigned int length_or_index) {
        if (left() <= 0) return false;
        at_[0] = TM_TAG_MEMBER;
        at_[1] = TM_TAG_NAME_MARKER;
        tm_put_big_endian(at_ + 2, static_cast<unsigned short>(length_or_index));
        at_ += 4;
        return true;
    }
    void put_bytes(char const* data, std::size_t size) {
        tm_copy_bytes(reinterpret_cast<char*>(at_), data, size);
        at_ += size;
    }

private:
    unsigned char* at_ = nullptr;
    unsigned char* end_ = nullptr;
};
