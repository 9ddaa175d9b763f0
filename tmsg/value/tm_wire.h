#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "tmsg/value/tm_text.h"

/// The binary wire form is a stream of items. Each item is a tag byte and the bytes that belong to
/// it. Numbers are big-endian, and lengths count bytes. Nothing is padded, aligned or terminated.
/// See docs/wire-format.md.

/// The tags, and the bytes that follow each tag.
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

/// Returns the bytes of an item of fixed size, the tag included. Returns -1 for items of variable
/// size and for unknown tags.
int tm_tag_size(unsigned char tag);

/// Returns the bytes of an item in front of its contents: tag, marker and length. For an item of
/// fixed size that is the whole item.
int tm_head_size(unsigned char tag);

/// Converts a number between the host's byte order and that of the wire form, in both directions.
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

/// The room for wire bytes in a chunk. The binary encoder offers it to the library's own values,
/// which write their items straight into it instead of passing events.
///
/// The room takes an item whole when it begins before the end of the chunk, and refuses an item
/// that begins behind. The memory behind the end has room for 128 bytes of the last item.
class Tm_wire_room {
public:
    Tm_wire_room() = default;
    Tm_wire_room(unsigned char* at, unsigned char* end) : at_(at), end_(end) {}

    unsigned char* at() const { return at_; }
    /// Returns the bytes up to the end of the chunk, 0 or a negative number when it is full.
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
