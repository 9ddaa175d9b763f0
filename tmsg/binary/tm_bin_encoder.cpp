#include "tmsg/binary/tm_bin_encoder.h"

#include <unistd.h>

#include <cstring>
#include <limits>
#include <type_traits>

#include "tmsg/binary/tm_read_ahead.h"
#include "tmsg/binary/tm_wire.h"
#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_file.h"

namespace {

/// An event that starts below the chunk size may run past it by this much.
constexpr unsigned int slack = 128;

void check_at_least(char const* label, int value, int low) {
    int const high = std::numeric_limits<int>::max();
    if (value < low) throw Tm_out_of_range_exception(label, value, low, high);
}

}  // namespace

Tm_bin_encoder::Tm_bin_encoder(int chunk_size, int header_size) { init(chunk_size, header_size); }

Tm_bin_encoder::~Tm_bin_encoder() = default;

void Tm_bin_encoder::init(int chunk_size, int header_size) {
    check_at_least("chunk size", chunk_size, 1);
    check_at_least("header size", header_size, 0);
    buffer_.assign(
        static_cast<std::size_t>(chunk_size) + static_cast<std::size_t>(header_size) + slack, 0);
    chunk_size_ = chunk_size;
    header_size_ = header_size;
    begin_fill();
}

void Tm_bin_encoder::begin_fill() {
    fill_ = 0;
    mementos_.clear();
    file_.reset();
}

bool Tm_bin_encoder::small_chunk_continue() {
    if (fill_ <= chunk_size_) {
        fill_ = 0;
        return true;
    }
    unsigned char* const first = buffer_.data() + header_size_;
    fill_ -= chunk_size_;
    std::memmove(first, first + chunk_size_, static_cast<std::size_t>(fill_));
    return check_state();
}

int Tm_bin_encoder::tag_size(unsigned char tag) { return tm_tag_size(tag); }

/// Where the next `bytes` go. Only an event of a caller's own, larger than any of the library's,
/// needs more than the slack.
unsigned char* Tm_bin_encoder::room(unsigned int bytes) {
    std::size_t const at = static_cast<std::size_t>(header_size_) + static_cast<std::size_t>(fill_);
    if (bytes > slack && at + bytes > buffer_.size()) buffer_.resize(at + bytes);
    return buffer_.data() + at;
}

bool Tm_bin_encoder::put_tag(unsigned char tag) {
    if (!check_state()) return false;
    *room(1) = tag;
    ++fill_;
    return true;
}

template <class Number>
bool Tm_bin_encoder::put(unsigned char tag, Number number) {
    if (!check_state()) return false;
    unsigned char* const at = room(1 + sizeof number);
    at[0] = tag;
    tm_put_big_endian(at + 1, static_cast<std::make_unsigned_t<Number>>(number));
    fill_ += static_cast<int>(1 + sizeof number);
    return true;
}

bool Tm_bin_encoder::put_piece(char const* data, unsigned int length) {
    if (!check_state()) return false;
    if (length > 0) std::memcpy(room(length), data, length);
    fill_ += static_cast<int>(length);
    return true;
}

bool Tm_bin_encoder::visit_method_begin(bool is_request) {
    return put_tag(is_request ? TM_TAG_CALL : TM_TAG_RESPONSE);
}

bool Tm_bin_encoder::visit_method_end(bool is_request) {
    return put_tag(is_request ? TM_TAG_CALL_END : TM_TAG_RESPONSE_END);
}

bool Tm_bin_encoder::visit_fault_begin() { return put_tag(TM_TAG_FAULT); }
bool Tm_bin_encoder::visit_fault_end() { return put_tag(TM_TAG_FAULT_END); }

bool Tm_bin_encoder::visit_method_name_begin(unsigned int length) {
    return put(TM_TAG_METHOD_NAME, static_cast<unsigned short>(length));
}

bool Tm_bin_encoder::visit_method_name_continue(char const* data, unsigned int length) {
    return visit_string_continue(data, length);
}

bool Tm_bin_encoder::visit_bool(bool value) {
    return put(TM_TAG_BOOL, static_cast<unsigned char>(value ? 1 : 0));
}

bool Tm_bin_encoder::visit_int8(signed char value) { return put(TM_TAG_INT8, value); }
bool Tm_bin_encoder::visit_uint8(unsigned char value) { return put(TM_TAG_UINT8, value); }
bool Tm_bin_encoder::visit_int16(short value) { return put(TM_TAG_INT16, value); }
bool Tm_bin_encoder::visit_uint16(unsigned short value) { return put(TM_TAG_UINT16, value); }
bool Tm_bin_encoder::visit_int32(int value) { return put(TM_TAG_INT32, value); }
bool Tm_bin_encoder::visit_uint32(unsigned int value) { return put(TM_TAG_UINT32, value); }
bool Tm_bin_encoder::visit_int64(long value) { return put(TM_TAG_INT64, value); }
bool Tm_bin_encoder::visit_uint64(unsigned long value) { return put(TM_TAG_UINT64, value); }

bool Tm_bin_encoder::visit_double(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return put(TM_TAG_DOUBLE, bits);
}

bool Tm_bin_encoder::visit_string_begin(unsigned int length) {
    return put(TM_TAG_STRING, static_cast<unsigned short>(length));
}

bool Tm_bin_encoder::visit_string_continue(char const* data, unsigned int length) {
    return put_piece(data, length);
}

bool Tm_bin_encoder::visit_binary_begin(unsigned int length) { return put(TM_TAG_BINARY, length); }

bool Tm_bin_encoder::visit_binary_continue(char const* data, unsigned int length) {
    return put_piece(data, length);
}

bool Tm_bin_encoder::visit_struct_begin() { return put_tag(TM_TAG_STRUCT); }
bool Tm_bin_encoder::visit_struct_end() { return put_tag(TM_TAG_STRUCT_END); }

bool Tm_bin_encoder::visit_member_begin(unsigned int length_or_index) {
    if (!check_state()) return false;
    unsigned char* const at = room(4);
    at[0] = TM_TAG_MEMBER;
    at[1] = TM_TAG_NAME_MARKER;
    tm_put_big_endian(at + 2, static_cast<unsigned short>(length_or_index));
    fill_ += 4;
    return true;
}

bool Tm_bin_encoder::visit_member_continue(char const* data, unsigned int length) {
    return visit_string_continue(data, length);
}

bool Tm_bin_encoder::visit_member_end() { return put_tag(TM_TAG_MEMBER_END); }
bool Tm_bin_encoder::visit_array_begin() { return put_tag(TM_TAG_ARRAY); }
bool Tm_bin_encoder::visit_array_end() { return put_tag(TM_TAG_ARRAY_END); }

bool Tm_bin_encoder::visit_file_begin(unsigned int length) { return put(TM_TAG_FILE, length); }

bool Tm_bin_encoder::visit_file_begin(int fd, unsigned int length) {
    bool const has_positions = ::lseek(fd, 0, SEEK_SET) == 0;
    if (!check_state()) return false;
    file_ = has_positions ? std::make_unique<Tm_read_ahead>(fd) : nullptr;
    return visit_file_begin(length);
}

bool Tm_bin_encoder::visit_file_continue(char const* data, unsigned int length) {
    return put_piece(data, length);
}

/// A file that was not begun here, or has no positions, is read from where its descriptor stands.
bool Tm_bin_encoder::visit_file_continue(int fd, std::string const& path, unsigned int length) {
    if (!check_state()) return false;
    bool const is_begun = file_ != nullptr && file_->descriptor() == fd;
    long const got =
        is_begun ? file_->read(room(length), length) : Tm_file::read_n(fd, room(length), length);
    if (got < 0) throw Tm_file_read_exception(path);
    fill_ += static_cast<int>(got);
    return true;
}

bool Tm_bin_encoder::has_memento() { return !mementos_.empty(); }

int Tm_bin_encoder::pop_memento() {
    int const step = mementos_.back();
    mementos_.pop_back();
    return step;
}

void Tm_bin_encoder::push_memento(int step) { mementos_.push_back(step); }

bool Tm_bin_encoder::is_support_member_index() { return true; }
