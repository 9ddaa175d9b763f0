#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "tmsg/value/tm_text.h"

/// The wire form is a stream of items. Each item is a tag byte and the bytes that belong to it.
/// Numbers are big-endian, and lengths count bytes. Nothing is padded, aligned or terminated.
/// docs/wire-format.md describes it in full. The functions here check no bounds: the caller must
/// provide the bytes that they read and the room that they write.

/// The tags, and the bytes that follow each tag. An end tag is its begin tag plus 80h.
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

/// Returns the number of bytes of an item of fixed size, the tag included. Returns 1 for
/// TM_TAG_MEMBER, and -1 for all other numbers. Looks only at the low 7 bits of the tag.
int tm_tag_size(unsigned char tag);

/// Returns the number of bytes of an item up to its contents: tag, marker and length. For an item
/// of fixed size that is the whole item. Returns at least 1 for a number that is no tag.
int tm_head_size(unsigned char tag);

/// Converts a number between the byte order of the host and that of the wire form. The same call
/// converts in both directions.
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

/// Writes an unsigned number to `at`, most significant byte first.
template <class Unsigned>
void tm_put_big_endian(unsigned char* at, Unsigned number) {
    Unsigned const ordered = tm_wire_order(number);
    std::memcpy(at, &ordered, sizeof ordered);
}

/// Reads an unsigned number from `at`, most significant byte first.
template <class Unsigned>
Unsigned tm_get_big_endian(unsigned char const* at) {
    Unsigned number = 0;
    std::memcpy(&number, at, sizeof number);
    return tm_wire_order(number);
}

/// Reads the 8 bytes of a double from `at`.
inline double tm_get_double(unsigned char const* at) {
    auto const bits = tm_get_big_endian<std::uint64_t>(at);
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

/// The free room in a chunk of wire bytes. Tm_bin_encoder offers it to the library's own values,
/// which write their items straight into it instead of sending events.
///
/// The room takes the whole of an item that begins before the end of the chunk, and refuses an item
/// that begins at the end or after it. So the last item may pass the end, and 128 bytes of memory
/// must follow the end. Each put operation that returns bool returns false to refuse.
class Tm_wire_room {
public:
    /// Makes a room that refuses everything.
    Tm_wire_room() = default;
    /// `at` is the first free byte, `end` the end of the chunk. The caller owns the memory.
    Tm_wire_room(unsigned char* at, unsigned char* end) : at_(at), end_(end) {}

    /// Returns the first free byte.
    unsigned char* at() const { return at_; }
    /// Returns the number of bytes up to the end of the chunk. Returns 0 or a negative number when
    /// the chunk is full.
    long left() const { return end_ - at_; }
    /// Moves at() forward by bytes that the caller has written there.
    void advance(long bytes) { at_ += bytes; }

    /// Writes an item that is only a tag.
    bool put_tag(unsigned char tag) {
        if (left() <= 0) return false;
        *at_++ = tag;
        return true;
    }
    /// Writes a tag and a number of 1, 2, 4 or 8 bytes, whose type has the width that the tag
    /// needs.
    /// The number may also be a length, after which the caller writes the contents.
    template <class Number>
    bool put(unsigned char tag, Number number) {
        if (left() <= 0) return false;
        at_[0] = tag;
        tm_put_big_endian(at_ + 1, static_cast<std::make_unsigned_t<Number>>(number));
        at_ += 1 + sizeof number;
        return true;
    }
    /// Writes the 8 bytes of a double after the tag.
    bool put(unsigned char tag, double value) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        return put(tag, bits);
    }
    /// Writes 0 or 1 after the tag.
    bool put(unsigned char tag, bool value) {
        return put(tag, static_cast<unsigned char>(value ? 1 : 0));
    }
    /// Writes the begin of a member up to its name. Only the low 16 bits of the number count.
    bool put_member(unsigned int length_or_index) {
        if (left() <= 0) return false;
        at_[0] = TM_TAG_MEMBER;
        at_[1] = TM_TAG_NAME_MARKER;
        tm_put_big_endian(at_ + 2, static_cast<unsigned short>(length_or_index));
        at_ += 4;
        return true;
    }
    /// Writes contents without a tag. The caller must know that there is memory for them: up to 128
    /// bytes after the end of the chunk.
    void put_bytes(char const* data, std::size_t size) {
        tm_copy_bytes(reinterpret_cast<char*>(at_), data, size);
        at_ += size;
    }

private:
    unsigned char* at_ = nullptr;
    unsigned char* end_ = nullptr;
};
