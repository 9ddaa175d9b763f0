#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "tmsg/value/tm_text.h"

/// The binary wire form: a stream of items, each a tag byte and what belongs to it. Numbers are
/// big-endian, lengths count bytes; nothing is padded, aligned or terminated. See
/// docs/wire-format.md.

/// Tags, and what follows each.
enum Tm_tag : unsigned char {
    TM_TAG_CALL = 0x00,
    TM_TAG_METHOD_NAME = 0x01,  ///< 2-byte length, bytes
    TM_TAG_RESPONSE = 0x02,
    TM_TAG_FAULT = 0x03,
    TM_TAG_STRUCT = 0x04,
    TM_TAG_MEMBER = 0x05,  ///< the name marker, then a 2-byte name length or index
    TM_TAG_ARRAY = 0x06,
    TM_TAG_NAME_MARKER = 0x07,
    TM_TAG_STRING = 0x08,  ///< 2-byte length, bytes
    TM_TAG_BINARY = 0x0A,  ///< 4-byte length, bytes
    TM_TAG_DOUBLE = 0x0B,  ///< 8 bytes
    TM_TAG_BOOL = 0x0C,    ///< 1 byte, 0 or 1
    TM_TAG_INT8 = 0x0D,
    TM_TAG_UINT8 = 0x0E,
    TM_TAG_INT16 = 0x0F,
    TM_TAG_UINT16 = 0x10,
    TM_TAG_INT32 = 0x11,
    TM_TAG_UINT32 = 0x12,
    TM_TAG_INT64 = 0x13,
    TM_TAG_UINT64 = 0x14,
    TM_TAG_FILE = 0x15,  ///< 4-byte length, bytes
    TM_TAG_CALL_END = 0x80,
    TM_TAG_RESPONSE_END = 0x82,
    TM_TAG_FAULT_END = 0x83,
    TM_TAG_STRUCT_END = 0x84,
    TM_TAG_MEMBER_END = 0x85,
    TM_TAG_ARRAY_END = 0x86
};

/// The bytes that an item of fixed size takes with its tag; -1 for variable sizes and unknown tags.
int tm_tag_size(unsigned char tag);

/// The bytes of an item up to its contents: tag, marker and length. An item of fixed size has none.
int tm_head_size(unsigned char tag);

/// The number with its bytes in the order of the wire form, or back.
template <class Unsigned>
Unsigned tm_wire_order(Unsigned number) {
    static_assert(std::is_unsigned_v<Unsigned>);
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    if constexpr (sizeof number == 2) return __builtin_bswap16(number);
    if constexpr (sizeof number == 4) return __builtin_bswap32(number);
    if constexpr (sizeof number == 8) return __builtin_bswap64(number);
#endif
    return number;
}

/// Writes an unsigned number, most significant byte first.
template <class Unsigned>
void tm_put_big_endian(unsigned char* at, Unsigned number) {
    Unsigned const ordered = tm_wire_order(number);
    std::memcpy(at, &ordered, sizeof ordered);
}

template <class Unsigned>
Unsigned tm_get_big_endian(unsigned char const* at) {
    Unsigned number = 0;
    std::memcpy(&number, at, sizeof number);
    return tm_wire_order(number);
}

inline double tm_get_double(unsigned char const* at) {
    auto const bits = tm_get_big_endian<std::uint64_t>(at);
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

/// Room for the wire form in a chunk that is being filled. The binary encoder offers it to the
/// values of the library, which write their items straight into it instead of passing events.
///
/// As with events, an item that begins in front of the chunk's end is taken whole, and one that
/// begins behind it is refused; up to 128 bytes may run past the end.
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
