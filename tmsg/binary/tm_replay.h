/// Items that are there entirely as events of any creator. `at` is where the item begins. Each
/// function returns false for a tag that is none of its own.
#pragma once

#include <cstdint>

#include "tmsg/creator/tm_creator_base.h"
#include "tmsg/value/tm_wire.h"

/// The number behind a tag.
template <class Unsigned>
Unsigned tm_number_of(unsigned char const* at) {
    return tm_get_big_endian<Unsigned>(at + 1);
}

/// A value of fixed size.
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

/// What begins or ends something.
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

/// The next bytes of an item with a length, told by its tag; a method name where it is no other.
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
