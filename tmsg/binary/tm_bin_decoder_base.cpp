#include "tmsg/binary/tm_bin_decoder_base.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>

#include "tmsg/binary/internal/tm_replay.h"
#include "tmsg/creator/internal/tm_own_creator.h"
#include "tmsg/value/internal/tm_bulk.h"
#include "tmsg/value/internal/tm_limit_error.h"
#include "tmsg/value/internal/tm_walk.h"
#include "tmsg/value/tm_wire.h"

namespace {

/// The most bytes of a head or a piece, for which the decoder may have to wait.
constexpr std::size_t longest_rest = tm_piece_size;
/// The most bytes that tm_head_size() returns.
constexpr long longest_head = 9;
/// More bytes than any input has, and few enough that a sum with them does not overflow.
constexpr unsigned long most_room = 1UL << 62;

}  // namespace

Tm_bin_decoder_base::Tm_bin_decoder_base(long capacity, Tm_limits const& limits)
    : limits_(limits), capacity_(std::max(capacity, 0L)) {}

Tm_bin_decoder_base::~Tm_bin_decoder_base() = default;

void Tm_bin_decoder_base::init() {
    buffer_.clear();
    front_ = 0;
    read_ = 0;
    end_ = 0;
    packed_ = 0;
    item_offset_ = 0;
    value_offset_ = 0;
    depth_ = 0;
    state_ = State::between_items;
    sealed_ = false;
    is_complete_ = false;
    error_.clear();
}

Tm_creator& Tm_bin_decoder_base::build(std::unique_ptr<Tm_own_creator> creator) {
    own_creator_ = creator.get();
    creator_ = std::move(creator);
    return *own_creator_;
}

/// Moves the positions as add_to_buffer() would.
void Tm_bin_decoder_base::count_in(long length) {
    if (length > capacity_ - end_) pack_buffer();
    end_ += length;
}

bool Tm_bin_decoder_base::add_to_buffer(unsigned char const* data, long length) {
    if (length < 0) return false;
    if (length > capacity_ - end_) pack_buffer();
    if (length > capacity_ + EXTRA_CAPACITY - end_) return false;
    failing_with_exceptions([&] { keep(data, static_cast<std::size_t>(length)); });
    end_ += length;
    return true;
}

/// Appends input to the buffer.
void Tm_bin_decoder_base::keep(unsigned char const* data, std::size_t size) {
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(front_));
    front_ = 0;
    std::size_t const needed = buffer_.size() + size;
    if (needed > buffer_.capacity()) {
        tm_reserve_bulk(buffer_, std::max(needed, 2 * buffer_.capacity()));
    }
    buffer_.insert(buffer_.end(), data, data + size);
}

/// Makes the text of an exception the error text, because a part of the input is lost then.
template <class Operation>
void Tm_bin_decoder_base::failing_with_exceptions(Operation operation) {
    try {
        operation();
    } catch (std::exception const& failure) {
        // This text stays if there is no memory for the other one.
        set_error(std::bad_alloc().what());
        buffer_.clear();
        front_ = 0;
        read_ = end_;
        set_error(failure.what());
        throw;
    }
}

void Tm_bin_decoder_base::pack_buffer() {
    end_ -= read_;
    packed_ += read_;
    read_ = 0;
}

bool Tm_bin_decoder_base::decode() {
    is_complete_ = false;
    stops_at_end_ = false;
    failing_with_exceptions([&] { decode_buffer(); });
    return !is_waiting_;
}

bool Tm_bin_decoder_base::feed(unsigned char const* data, std::size_t size) {
    is_complete_ = false;
    stops_at_end_ = false;
    failing_with_exceptions([&] { feed_slices(data, size); });
    return !is_waiting_;
}

std::size_t Tm_bin_decoder_base::feed_message(unsigned char const* data, std::size_t size) {
    std::size_t taken = 0;
    is_complete_ = false;
    stops_at_end_ = true;
    failing_with_exceptions([&] { taken = feed_slices(data, size); });
    return taken;
}

/// Returns the number of bytes that were taken. Bytes that wait for more input are among them.
std::size_t Tm_bin_decoder_base::feed_slices(unsigned char const* data, std::size_t size) {
    auto const most = static_cast<std::size_t>(std::max(capacity_, 1L));
    std::size_t taken = 0;
    while (taken < size && !is_complete_) {
        std::size_t const slice = std::min(size - taken, most);
        count_in(static_cast<long>(slice));
        std::size_t const done = feed_slice(data + taken, slice);
        end_ -= static_cast<long>(slice - done);
        taken += done;
    }
    return taken;
}

void Tm_bin_decoder_base::decode_buffer() {
    front_ += decode_at(buffer_.data() + front_, buffer_.size() - front_);
}

std::size_t Tm_bin_decoder_base::feed_slice(unsigned char const* data, std::size_t size) {
    std::size_t taken = 0;
    // An item whose first part is in the buffer is completed there.
    while (front_ < buffer_.size() && taken < size) {
        std::size_t const added = std::min(size - taken, longest_rest);
        keep(data + taken, added);
        decode_buffer();
        std::size_t const left = buffer_.size() - front_;
        taken += left <= added ? added - left : added;
        if (left <= added) front_ = buffer_.size();
        if (is_complete_) return taken;
    }
    if (front_ < buffer_.size() || taken == size) return taken;
    taken += decode_at(data + taken, size - taken);
    if (is_complete_) return taken;
    keep(data + taken, size - taken);
    return size;
}

/// Returns the number of bytes that were decoded. The others wait for more input.
std::size_t Tm_bin_decoder_base::decode_at(unsigned char const* data, std::size_t size) {
    is_waiting_ = false;
    from_ = data;
    at_ = data;
    stop_ = data + size;
    count_room();
    if (own_creator_ != creator_.get()) own_creator_ = nullptr;
    if (sealed_) {
        at_ = stop_;
    } else {
        decode_items();
    }
    auto const done = at_ - from_;
    read_ += done;
    return static_cast<std::size_t>(done);
}

/// Computes how many bytes of this input the current message may take.
void Tm_bin_decoder_base::count_room() {
    auto const counted = static_cast<unsigned long>(packed_ + read_ - value_offset_);
    unsigned long const most = std::min(limits_.max_message_bytes, most_room);
    room_ = static_cast<long>(most) - static_cast<long>(counted);
}

bool Tm_bin_decoder_base::is_too_long(long length) const { return at_ - from_ + length > room_; }

void Tm_bin_decoder_base::decode_items() {
    while (at_ < stop_) {
        if (own_creator_ != nullptr && state_ == State::between_items) {
            bool const is_inside = depth_ > 0;
            decode_whole_items(*own_creator_);
            if ((is_inside && note_end()) || at_ == stop_) return;
        }
        Step const step = take_step();
        is_waiting_ = step == Step::needs_bytes;
        if (is_waiting_) return;
        if (step == Step::failed) at_ = stop_;
        if (note_end()) return;
    }
}

/// Returns whether decoding stops here, because a top-level value has ended.
bool Tm_bin_decoder_base::note_end() {
    is_complete_ = stops_at_end_ && depth_ == 0 && state_ == State::between_items;
    return is_complete_;
}

/// Decodes complete items that the creator takes in one step. Stops before the first other item.
void Tm_bin_decoder_base::decode_whole_items(Tm_own_creator& creator) {
    if (!creator.error().empty()) return;
    unsigned char const* at = at_;
    unsigned char const* item = nullptr;
    unsigned char const* const stop = room_ < stop_ - from_ ? from_ + std::max(room_, 0L) : stop_;
    while (at < stop && !(depth_ == 0 && (limits_each_value_ || stops_at_end_))) {
        long const size = tm_take_whole_item(at, stop - at, creator);
        if (size == 0) break;
        item = at;
        at += size;
        if (*item >= TM_TAG_CALL_END) {
            --depth_;
        } else if (size == 1 || *item == TM_TAG_MEMBER) {
            ++depth_;
        }
        // Most values are followed by this item, which needs no further step.
        if (at < stop && *at == TM_TAG_MEMBER_END && creator.end_member()) {
            item = at++;
            --depth_;
        }
    }
    if (item == nullptr) return;
    item_tag_ = *item;
    item_offset_ = packed_ + read_ + (item - from_);
    at_ = at;
}

Tm_bin_decoder_base::Step Tm_bin_decoder_base::take_step() {
    switch (state_) {
        case State::between_items:
            return take_item();
        case State::within_item:
            return pass_piece();
        default:
            return Step::failed;
    }
}

/// Decodes the head of the next item, and the first piece of its contents.
Tm_bin_decoder_base::Step Tm_bin_decoder_base::take_item() {
    unsigned char const tag = *at_;
    long const tag_position = position();
    item_tag_ = tag;
    item_offset_ = packed_ + tag_position;
    if (limits_each_value_ && depth_ == 0) {
        value_offset_ = item_offset_;
        count_room();
    }
    long const head = tm_head_size(tag);
    if (is_too_long(longest_head) && is_too_long(head)) {
        set_error(tm_message_too_long(limits_), tag, tag_position);
        return Step::failed;
    }
    if (available() < head) return Step::needs_bytes;
    act_on(tag, head);
    if (!creator_->error().empty()) set_error(creator_->error(), tag, tag_position);
    if (state_ == State::failed) return Step::failed;
    return state_ == State::within_item ? pass_piece() : Step::advanced;
}

/// Sends the events of the head of an item, which is complete.
void Tm_bin_decoder_base::act_on(unsigned char tag, long head) {
    unsigned char const* const item = at_;
    switch (tag) {
        case TM_TAG_MEMBER:
            return begin_member();
        case TM_TAG_METHOD_NAME:
            enter_item(head, tm_number_of<std::uint16_t>(item));
            creator_->visit_method_name_begin(total_);
            return;
        case TM_TAG_STRING:
            enter_item(head, tm_number_of<std::uint16_t>(item));
            creator_->visit_string_begin(total_);
            return;
        case TM_TAG_BINARY:
            enter_item(head, tm_number_of<std::uint32_t>(item));
            creator_->visit_binary_begin(total_);
            return;
        case TM_TAG_FILE:
            enter_item(head, tm_number_of<std::uint32_t>(item));
            creator_->visit_file_begin(total_);
            return;
        default:
            if (!tm_replay_scalar(item, *creator_)) act_on_bracket(tag);
            at_ += head;
    }
}

void Tm_bin_decoder_base::act_on_bracket(unsigned char tag) {
    if (!tm_replay_bracket(tag, *creator_)) {
        set_error("unknown tag found", tag, position());
    } else if (tag < TM_TAG_CALL_END) {
        ++depth_;
    } else if (depth_ > 0) {
        --depth_;
    }
}

void Tm_bin_decoder_base::begin_member() {
    constexpr long head = 4;
    unsigned char const marker = at_[1];
    if (marker != TM_TAG_NAME_MARKER) {
        set_error("member name not found", marker, position() + 1);
        error_ += " should be 07h";
        return;
    }
    auto const number = tm_number_of<std::uint16_t>(at_ + 1);
    ++depth_;
    if (creator_->support_member_with_index()) {
        at_ += head;
        creator_->visit_member_begin_with_index(number);
        creator_->visit_member_continue_with_index(number);
    } else {
        enter_item(head, number);
        creator_->visit_member_begin(number);
    }
}

void Tm_bin_decoder_base::enter_item(long head, std::uint32_t length) {
    at_ += head;
    state_ = State::within_item;
    passed_ = 0;
    total_ = length;
}

/// Sends the next piece once all of it has arrived, so that pieces do not depend on how the input
/// was cut. The library's own creator takes all pieces that have arrived at once.
Tm_bin_decoder_base::Step Tm_bin_decoder_base::pass_piece() {
    std::uint32_t const left = total_ - passed_;
    std::uint32_t piece = std::min(left, tm_piece_size);
    if (available() < piece) return Step::needs_bytes;
    if (is_too_long(piece)) {
        set_error(tm_message_too_long(limits_));
        return Step::failed;
    }
    if (own_creator_ != nullptr) {
        long const most = std::min({long{left}, available(), room_ - (at_ - from_)});
        bool const is_whole = most == left;
        piece = static_cast<std::uint32_t>(is_whole ? most : most - most % tm_piece_size);
    }
    tm_replay_piece(item_tag_, reinterpret_cast<char const*>(at_), piece, *creator_);
    passed_ += piece;
    at_ += piece;
    if (passed_ == total_) state_ = State::between_items;
    // A refused piece is reported with the next item. Only a piece without room is reported here.
    bool const has_no_room =
        item_tag_ == TM_TAG_FILE || (own_creator_ != nullptr && own_creator_->is_exhausted());
    if (!has_no_room || creator_->error().empty()) return Step::advanced;
    set_error(creator_->error());
    return Step::failed;
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

std::string Tm_bin_decoder_base::item_path() const {
    bool const has_tree = !sealed_ && own_creator_ != nullptr && own_creator_ == creator_.get();
    return has_tree ? own_creator_->path() : std::string();
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
