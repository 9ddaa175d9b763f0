#include "tmsg/binary/tm_bin_decoder_base.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>

#include "tmsg/binary/tm_wire.h"
#include "tmsg/value/tm_limit_error.h"
#include "tmsg/value/tm_walk.h"

Tm_bin_decoder_base::Tm_bin_decoder_base(long capacity, Tm_limits const& limits)
    : limits_(limits),
      buffer_(std::make_unique<unsigned char[]>(
          static_cast<std::size_t>(std::max(capacity, 0L) + EXTRA_CAPACITY))),
      capacity_(std::max(capacity, 0L)) {}

Tm_bin_decoder_base::~Tm_bin_decoder_base() = default;

void Tm_bin_decoder_base::init() {
    read_ = 0;
    end_ = 0;
    packed_ = 0;
    item_offset_ = 0;
    state_ = State::between_items;
    sealed_ = false;
    error_.clear();
    std::memset(buffer_.get(), 0, static_cast<std::size_t>(capacity_ + EXTRA_CAPACITY));
}

bool Tm_bin_decoder_base::add_to_buffer(unsigned char const* data, long length) {
    if (length < 0) return false;
    if (length > capacity_ - end_) pack_buffer();
    if (length > capacity_ + EXTRA_CAPACITY - end_) return false;
    if (length > 0) std::memcpy(buffer_.get() + end_, data, static_cast<std::size_t>(length));
    end_ += length;
    return true;
}

void Tm_bin_decoder_base::pack_buffer() {
    if (read_ == 0) return;
    std::memmove(buffer_.get(), buffer_.get() + read_, static_cast<std::size_t>(available()));
    end_ -= read_;
    packed_ += read_;
    read_ = 0;
}

bool Tm_bin_decoder_base::decode() {
    try {
        return decode_buffer();
    } catch (std::exception const& failure) {
        // Stays where there is no memory for the text.
        set_error(std::bad_alloc().what());
        set_error(failure.what());
        throw;
    }
}

bool Tm_bin_decoder_base::decode_buffer() {
    if (sealed_) read_ = end_;
    while (read_ < end_) {
        if (state_ == State::between_items && !decode_item()) return false;
        if (state_ == State::within_item && !pass_piece()) return false;
        if (state_ == State::failed) read_ = end_;
    }
    return true;
}

/// The next tag with all that belongs to its event. False: not all of it is there yet.
bool Tm_bin_decoder_base::decode_item() {
    long const position = read_;
    unsigned char const tag = buffer_[static_cast<std::size_t>(position)];
    item_tag_ = tag;
    item_offset_ = packed_ + position;
    if (is_too_long(position + tm_head_size(tag))) {
        set_error(tm_message_too_long(limits_), tag, position);
        return true;
    }
    if (tm_tag_size(tag) > available()) return false;
    ++read_;
    if (!act_on(tag)) {
        read_ = position;
        return false;
    }
    if (!creator_->error().empty()) set_error(creator_->error(), tag, position);
    return true;
}

template <class Unsigned>
Unsigned Tm_bin_decoder_base::take_number() {
    auto const number = tm_get_big_endian<Unsigned>(buffer_.get() + read_);
    read_ += static_cast<long>(sizeof number);
    return number;
}

/// Replays one item. False: it is not all there.
bool Tm_bin_decoder_base::act_on(unsigned char tag) {
    switch (tag) {
        case TM_TAG_MEMBER:
            return begin_member();
        case TM_TAG_METHOD_NAME:
            return begin_bytes<std::uint16_t>(&Tm_creator_base::visit_method_name_begin,
                                              &Tm_creator_base::visit_method_name_continue);
        case TM_TAG_STRING:
            return begin_bytes<std::uint16_t>(&Tm_creator_base::visit_string_begin,
                                              &Tm_creator_base::visit_string_continue);
        case TM_TAG_BINARY:
            return begin_bytes<std::uint32_t>(&Tm_creator_base::visit_binary_begin,
                                              &Tm_creator_base::visit_binary_continue);
        case TM_TAG_FILE:
            return begin_bytes<std::uint32_t>(&Tm_creator_base::visit_file_begin,
                                              &Tm_creator_base::visit_file_continue);
        default:
            if (!replay_scalar(tag) && !replay_bracket(tag)) {
                set_error("unknown tag found", tag, read_ - 1);
            }
            return true;
    }
}

/// False: the tag is none of a value of fixed size.
bool Tm_bin_decoder_base::replay_scalar(unsigned char tag) {
    Tm_creator_base& c = *creator_;
    // clang-format off
    switch (tag) {
        case TM_TAG_BOOL:   c.visit_bool(take_number<std::uint8_t>() != 0); return true;
        case TM_TAG_INT8:   c.visit_int8(static_cast<signed char>(take_number<std::uint8_t>())); return true;
        case TM_TAG_UINT8:  c.visit_uint8(take_number<std::uint8_t>()); return true;
        case TM_TAG_INT16:  c.visit_int16(static_cast<short>(take_number<std::uint16_t>())); return true;
        case TM_TAG_UINT16: c.visit_uint16(take_number<std::uint16_t>()); return true;
        case TM_TAG_INT32:  c.visit_int32(static_cast<int>(take_number<std::uint32_t>())); return true;
        case TM_TAG_UINT32: c.visit_uint32(take_number<std::uint32_t>()); return true;
        case TM_TAG_INT64:  c.visit_int64(static_cast<long>(take_number<std::uint64_t>())); return true;
        case TM_TAG_UINT64: c.visit_uint64(take_number<std::uint64_t>()); return true;
        case TM_TAG_DOUBLE: c.visit_double(take_double()); return true;
        default: return false;
    }
    // clang-format on
}

/// False: the tag neither begins nor ends anything.
bool Tm_bin_decoder_base::replay_bracket(unsigned char tag) {
    Tm_creator_base& c = *creator_;
    // clang-format off
    switch (tag) {
        case TM_TAG_CALL:         c.visit_method_begin(true); return true;
        case TM_TAG_RESPONSE:     c.visit_method_begin(false); return true;
        case TM_TAG_CALL_END:     c.visit_method_end(true); return true;
        case TM_TAG_RESPONSE_END: c.visit_method_end(false); return true;
        case TM_TAG_FAULT:        c.visit_fault_begin(); return true;
        case TM_TAG_FAULT_END:    c.visit_fault_end(); return true;
        case TM_TAG_STRUCT:       c.visit_struct_begin(); return true;
        case TM_TAG_STRUCT_END:   c.visit_struct_end(); return true;
        case TM_TAG_MEMBER_END:   c.visit_member_end(); return true;
        case TM_TAG_ARRAY:        c.visit_array_begin(); return true;
        case TM_TAG_ARRAY_END:    c.visit_array_end(); return true;
        default: return false;
    }
    // clang-format on
}

double Tm_bin_decoder_base::take_double() {
    auto const bits = take_number<std::uint64_t>();
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

template <class Length>
bool Tm_bin_decoder_base::begin_bytes(Begin_event begin, Continue_event piece) {
    if (available() < static_cast<long>(sizeof(Length))) return false;
    auto const length = take_number<Length>();
    (creator_.get()->*begin)(length);
    enter_item(length, piece);
    return true;
}

bool Tm_bin_decoder_base::begin_member() {
    constexpr long marker_and_number = 3;
    if (available() < marker_and_number) return false;
    auto const marker = take_number<std::uint8_t>();
    if (marker != TM_TAG_NAME_MARKER) {
        set_error("member name not found", marker, read_ - 1);
        error_ += " should be 07h";
        return true;
    }
    auto const number = take_number<std::uint16_t>();
    if (creator_->support_member_with_index()) {
        creator_->visit_member_begin_with_index(number);
        creator_->visit_member_continue_with_index(number);
    } else {
        creator_->visit_member_begin(number);
        enter_item(number, &Tm_creator_base::visit_member_continue);
    }
    return true;
}

void Tm_bin_decoder_base::enter_item(unsigned int length, Continue_event piece) {
    state_ = State::within_item;
    passed_ = 0;
    total_ = length;
    continue_ = piece;
}

/// Passes the next piece on if it is there entirely, so that pieces do not depend on how the
/// input was cut.
bool Tm_bin_decoder_base::pass_piece() {
    long const piece = std::min(total_ - passed_, static_cast<long>(tm_piece_size));
    if (available() < piece) return false;
    if (is_too_long(read_ + piece)) {
        set_error(tm_message_too_long(limits_));
        return true;
    }
    char const* const data = reinterpret_cast<char const*>(buffer_.get() + read_);
    (creator_.get()->*continue_)(data, static_cast<unsigned int>(piece));
    passed_ += piece;
    read_ += piece;
    if (passed_ == total_) state_ = State::between_items;
    // A rejected piece shows with the next item, but for one that found no room on the disk.
    if (item_tag_ == TM_TAG_FILE && !creator_->error().empty()) set_error(creator_->error());
    return true;
}

/// The message has more bytes than it may, if it goes on to this position in the buffer.
bool Tm_bin_decoder_base::is_too_long(long end) const {
    return static_cast<unsigned long>(packed_ + end) > limits_.max_message_bytes;
}

void Tm_bin_decoder_base::finalize() {
    if (!error_.empty()) return;
    if (state_ == State::within_item) {
        set_error("decoder within string at end of method");
    } else if (read_ == end_ && !creator_->done()) {
        set_error("decoder expecting more data after end of buffer");
    } else if (read_ < end_) {
        set_error("data remaining in buffer at end of method");
    }
}

void Tm_bin_decoder_base::set_error(std::string const& text) {
    state_ = State::failed;
    error_ = text;
}

void Tm_bin_decoder_base::set_error(std::string const& text, unsigned char tag, long position) {
    char where[64];
    std::snprintf(where, sizeof where, ": %02Xh at byte %ld", tag, position);
    set_error(text + where);
}
