/// Sends items of the wire form to a creator.
#pragma once

#include <cstdint>
#include <string_view>
#include <type_traits>

#include "tmsg/creator/internal/tm_own_creator.h"
#include "tmsg/creator/tm_creator_base.h"
#include "tmsg/value/tm_wire.h"

// Complete items as events, for any creator. `at` points to the tag of the item. A function that
// returns bool returns false for a tag of another kind. The error text of the creator shows whether
// it refused the event.

/// Returns the number after a tag.
template <class Unsigned>
Unsigned tm_number_of(unsigned char const* at) {
    return tm_get_big_endian<Unsigned>(at + 1);
}

/// Sends a value of fixed size.
inline bool tm_replay_scalar(unsigned char const* at, Tm_creator_base& creator) {
    // clang-format off
    switch (*at) {
        case TM_TAG_BOOL:   creator.visit_bool(at[1] != 0); return true;
        case TM_TAG_INT8:   creator.visit_int8(static_cast<signed char>(at[1])); return true;
        case TM_TAG_UINT8:  creator.visit_uint8(at[1]); return true;
        case TM_TAG_INT16:  creator.visit_int16(static_cast<short>(tm_number_of<std::uint16_t>(at))); return true;
        case TM_TAG_UINT16: creator.visit_uint16(tm_number_of<std::uint16_t>(at)); return true;
        case TM_TAG_INT32:  creator.visit_int32(static_cast<int>(tm_number_of<std::uint32_t>(at))); return true;
        case TM_TAG_UINT32: creator.visit_uint32(tm_number_of<std::uint32_t>(at)); return true;
        case TM_TAG_INT64:  creator.visit_int64(static_cast<long>(tm_number_of<std::uint64_t>(at))); return true;
        case TM_TAG_UINT64: creator.visit_uint64(tm_number_of<std::uint64_t>(at)); return true;
        case TM_TAG_DOUBLE: creator.visit_double(tm_get_double(at + 1)); return true;
        default: return false;
    }
    // clang-format on
}

/// Sends the begin or end of a message, struct or array, or the end of a member.
inline bool tm_replay_bracket(unsigned char tag, Tm_creator_base& creator) {
    // clang-format off
    switch (tag) {
        case TM_TAG_CALL:         creator.visit_method_begin(true); return true;
        case TM_TAG_RESPONSE:     creator.visit_method_begin(false); return true;
        case TM_TAG_CALL_END:     creator.visit_method_end(true); return true;
        case TM_TAG_RESPONSE_END: creator.visit_method_end(false); return true;
        case TM_TAG_FAULT:        creator.visit_fault_begin(); return true;
        case TM_TAG_FAULT_END:    creator.visit_fault_end(); return true;
        case TM_TAG_STRUCT:       creator.visit_struct_begin(); return true;
        case TM_TAG_STRUCT_END:   creator.visit_struct_end(); return true;
        case TM_TAG_MEMBER_END:   creator.visit_member_end(); return true;
        case TM_TAG_ARRAY:        creator.visit_array_begin(); return true;
        case TM_TAG_ARRAY_END:    creator.visit_array_end(); return true;
        default: return false;
    }
    // clang-format on
}

/// Sends the next bytes of an item with a length. Every other tag counts as that of a method name.
inline void tm_replay_piece(unsigned char tag, char const* data, unsigned int length,
                            Tm_creator_base& creator) {
    // clang-format off
    switch (tag) {
        case TM_TAG_MEMBER: creator.visit_member_continue(data, length); return;
        case TM_TAG_STRING: creator.visit_string_continue(data, length); return;
        case TM_TAG_BINARY: creator.visit_binary_continue(data, length); return;
        case TM_TAG_FILE:   creator.visit_file_continue(data, length); return;
        default:            creator.visit_method_name_continue(data, length); return;
    }
    // clang-format on
}

// Whole items in one step, which is faster, for the library's own creator. Each function returns
// the number of bytes of the item. It returns 0 when the item is not complete, or the creator did
// not take it. `left` is the number of bytes from `at` on.

template <class Plain>
long tm_take_plain(unsigned char const* at, long left, Tm_own_creator& creator) {
    constexpr long size = 1 + sizeof(Plain);
    if (left < size) return 0;
    auto const number = tm_get_big_endian<std::make_unsigned_t<Plain>>(at + 1);
    return creator.take(static_cast<Plain>(number)) ? size : 0;
}

inline long tm_take_double(unsigned char const* at, long left, Tm_own_creator& creator) {
    constexpr long size = 1 + sizeof(double);
    return left >= size && creator.take(tm_get_double(at + 1)) ? size : 0;
}

inline long tm_take_string(unsigned char const* at, long left, Tm_own_creator& creator) {
    constexpr long head = 3;
    if (left < head) return 0;
    auto const length = tm_get_big_endian<std::uint16_t>(at + 1);
    if (left < head + length) return 0;
    std::string_view const text(reinterpret_cast<char const*>(at + head), length);
    return creator.take_text(text) ? head + length : 0;
}

inline long tm_take_name(unsigned char const* at, long left, Tm_own_creator& creator) {
    constexpr long head = 4;
    if (left < head || at[1] != TM_TAG_NAME_MARKER) return 0;
    auto const length = tm_get_big_endian<std::uint16_t>(at + 2);
    if (creator.names_come_by_index()) return creator.take_whole_name_at(length) ? head : 0;
    if (left < head + length) return 0;
    std::string_view const name(reinterpret_cast<char const*>(at + head), length);
    return creator.take_whole_name(name) ? head + length : 0;
}

inline long tm_take_whole_item(unsigned char const* at, long left, Tm_own_creator& creator) {
    // clang-format off
    switch (*at) {
        case TM_TAG_MEMBER:     return tm_take_name(at, left, creator);
        case TM_TAG_MEMBER_END: return creator.end_member() ? 1 : 0;
        case TM_TAG_STRING:     return tm_take_string(at, left, creator);
        case TM_TAG_BOOL:       return left >= 2 && creator.take(at[1] != 0) ? 2 : 0;
        case TM_TAG_INT8:       return tm_take_plain<signed char>(at, left, creator);
        case TM_TAG_UINT8:      return tm_take_plain<unsigned char>(at, left, creator);
        case TM_TAG_INT16:      return tm_take_plain<short>(at, left, creator);
        case TM_TAG_UINT16:     return tm_take_plain<unsigned short>(at, left, creator);
        case TM_TAG_INT32:      return tm_take_plain<int>(at, left, creator);
        case TM_TAG_UINT32:     return tm_take_plain<unsigned int>(at, left, creator);
        case TM_TAG_INT64:      return tm_take_plain<long>(at, left, creator);
        case TM_TAG_UINT64:     return tm_take_plain<unsigned long>(at, left, creator);
        case TM_TAG_DOUBLE:     return tm_take_double(at, left, creator);
        case TM_TAG_STRUCT:     return creator.visit_struct_begin() ? 1 : 0;
        case TM_TAG_STRUCT_END: return creator.visit_struct_end() ? 1 : 0;
        case TM_TAG_ARRAY:      return creator.visit_array_begin() ? 1 : 0;
        case TM_TAG_ARRAY_END:  return creator.visit_array_end() ? 1 : 0;
        default:                return 0;
    }
    // clang-format on
}
