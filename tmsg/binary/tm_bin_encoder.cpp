#include "tmsg/binary/tm_bin_encoder.h"

#include <unistd.h>

#include <typeinfo>

#include "tmsg/binary/internal/tm_read_ahead.h"
#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_file.h"
#include "tmsg/value/tm_wire.h"

Tm_bin_encoder::Tm_bin_encoder(int chunk_size, int header_size) {
    init(chunk_size, header_size);
    offer_wire_room(&chunk_, typeid(Tm_bin_encoder));
}

Tm_bin_encoder::~Tm_bin_encoder() = default;

void Tm_bin_encoder::init(int chunk_size, int header_size) {
    chunk_.init(chunk_size, header_size);
    begin_fill();
}

void Tm_bin_encoder::begin_fill() {
    chunk_.clear();
    mementos_.clear();
    file_.reset();
}

bool Tm_bin_encoder::small_chunk_continue() { return chunk_.next_chunk(); }

int Tm_bin_encoder::tag_size(unsigned char tag) { return tm_tag_size(tag); }

bool Tm_bin_encoder::put_piece(char const* data, unsigned int length) {
    if (!check_state()) return false;
    chunk_.make_memory(length);
    chunk_.put_bytes(data, length);
    return true;
}

bool Tm_bin_encoder::visit_method_begin(bool is_request) {
    return chunk_.put_tag(is_request ? TM_TAG_CALL : TM_TAG_RESPONSE);
}

bool Tm_bin_encoder::visit_method_end(bool is_request) {
    return chunk_.put_tag(is_request ? TM_TAG_CALL_END : TM_TAG_RESPONSE_END);
}

bool Tm_bin_encoder::visit_fault_begin() { return chunk_.put_tag(TM_TAG_FAULT); }
bool Tm_bin_encoder::visit_fault_end() { return chunk_.put_tag(TM_TAG_FAULT_END); }

bool Tm_bin_encoder::visit_method_name_begin(unsigned int length) {
    return chunk_.put(TM_TAG_METHOD_NAME, static_cast<unsigned short>(length));
}

bool Tm_bin_encoder::visit_method_name_continue(char const* data, unsigned int length) {
    return visit_string_continue(data, length);
}

bool Tm_bin_encoder::visit_bool(bool value) { return chunk_.put(TM_TAG_BOOL, value); }

bool Tm_bin_encoder::visit_int8(signed char value) { return chunk_.put(TM_TAG_INT8, value); }
bool Tm_bin_encoder::visit_uint8(unsigned char value) { return chunk_.put(TM_TAG_UINT8, value); }
bool Tm_bin_encoder::visit_int16(short value) { return chunk_.put(TM_TAG_INT16, value); }
bool Tm_bin_encoder::visit_uint16(unsigned short value) { return chunk_.put(TM_TAG_UINT16, value); }
bool Tm_bin_encoder::visit_int32(int value) { return chunk_.put(TM_TAG_INT32, value); }
bool Tm_bin_encoder::visit_uint32(unsigned int value) { return chunk_.put(TM_TAG_UINT32, value); }
bool Tm_bin_encoder::visit_int64(long value) { return chunk_.put(TM_TAG_INT64, value); }
bool Tm_bin_encoder::visit_uint64(unsigned long value) { return chunk_.put(TM_TAG_UINT64, value); }

bool Tm_bin_encoder::visit_double(double value) { return chunk_.put(TM_TAG_DOUBLE, value); }

bool Tm_bin_encoder::visit_string_begin(unsigned int length) {
    return chunk_.put(TM_TAG_STRING, static_cast<unsigned short>(length));
}

bool Tm_bin_encoder::visit_string_continue(char const* data, unsigned int length) {
    return put_piece(data, length);
}

bool Tm_bin_encoder::visit_binary_begin(unsigned int length) {
    return chunk_.put(TM_TAG_BINARY, length);
}

bool Tm_bin_encoder::visit_binary_continue(char const* data, unsigned int length) {
    return put_piece(data, length);
}

bool Tm_bin_encoder::visit_struct_begin() { return chunk_.put_tag(TM_TAG_STRUCT); }
bool Tm_bin_encoder::visit_struct_end() { return chunk_.put_tag(TM_TAG_STRUCT_END); }

bool Tm_bin_encoder::visit_member_begin(unsigned int length_or_index) {
    return chunk_.put_member(length_or_index);
}

bool Tm_bin_encoder::visit_member_continue(char const* data, unsigned int length) {
    return visit_string_continue(data, length);
}

bool Tm_bin_encoder::visit_member_end() { return chunk_.put_tag(TM_TAG_MEMBER_END); }
bool Tm_bin_encoder::visit_array_begin() { return chunk_.put_tag(TM_TAG_ARRAY); }
bool Tm_bin_encoder::visit_array_end() { return chunk_.put_tag(TM_TAG_ARRAY_END); }

bool Tm_bin_encoder::visit_file_begin(unsigned int length) {
    return chunk_.put(TM_TAG_FILE, length);
}

/// A derived class may read the pieces itself, from the descriptor's position.
bool Tm_bin_encoder::visit_file_begin(int fd, unsigned int length) {
    bool const is_the_library_s = wire_room() != nullptr;
    bool const has_positions = ::lseek(fd, 0, is_the_library_s ? SEEK_CUR : SEEK_SET) >= 0;
    if (!check_state()) return false;
    file_ = has_positions ? std::make_unique<Tm_read_ahead>(fd) : nullptr;
    return visit_file_begin(length);
}

bool Tm_bin_encoder::visit_file_continue(char const* data, unsigned int length) {
    return put_piece(data, length);
}

/// Reads a file that was not begun here, or that has no positions, from the position of its
/// descriptor.
bool Tm_bin_encoder::visit_file_continue(int fd, std::string const& path, unsigned int length) {
    if (!check_state()) return false;
    chunk_.make_memory(length);
    bool const is_begun = file_ != nullptr && file_->descriptor() == fd;
    unsigned char* const to = chunk_.at();
    long const got = is_begun ? file_->read(to, length) : Tm_file::read_n(fd, to, length);
    if (got < 0) throw Tm_file_read_exception(path);
    chunk_.advance(got);
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
