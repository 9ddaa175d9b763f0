#include "tmsg/text/tm_text_creator.h"

#include <cstddef>
#include <iterator>

#include "tmsg/value/tm_decimal.h"
#include "tmsg/value/tm_limit_error.h"

Tm_text_creator::Tm_text_creator(FILE* stream, Tm_limits const& limits, unsigned long max_text)
    : stream_(stream), limits_(limits), max_text_(max_text) {}

Tm_text_creator::~Tm_text_creator() { std::fflush(stream_); }

char const* Tm_text_creator::type_to_c_str(Type type) {
    static char const* const labels[] = {
        "methodCall", "(name)",     "methodResponse", "fault",      "(name)",    "(struct)",
        "(array)",    "(string)",   "(date)",         "(binary)",   "(double)",  "(bool)",
        "(int8_t)",   "(uint8_t)",  "(int16_t)",      "(uint16_t)", "(int32_t)", "(uint32_t)",
        "(int64_t)",  "(uint64_t)", "(file)"};
    auto const index = static_cast<std::size_t>(type);
    return index < std::size(labels) ? labels[index] : "???";
}

void Tm_text_creator::write(std::string_view text) {
    if (is_full_) return;
    if (text.size() > max_text_ - written_) {
        error_ = tm_text_too_long(max_text_);
        is_full_ = true;
        return;
    }
    written_ += text.size();
    std::fwrite(text.data(), 1, text.size(), stream_);
}

void Tm_text_creator::indent() { indent_ += "  "; }

void Tm_text_creator::unindent() {
    if (indent_.size() > 1) indent_.resize(indent_.size() - 2);
}

void Tm_text_creator::output_type(Type type) { write(type_to_c_str(type)); }

void Tm_text_creator::output_newline(bool deeper) {
    if (deeper) indent();
    write("\n");
    write(indent_);
}

bool Tm_text_creator::begin_item(unsigned int length) {
    expected_ = length;
    received_ = 0;
    return !is_full_;
}

/// True: the piece was the last. A piece that runs past the announced length does not count.
bool Tm_text_creator::end_piece(unsigned int length) {
    if (length > expected_ - received_) return false;
    received_ += length;
    return received_ == expected_;
}

bool Tm_text_creator::open(Type type) {
    output_type(type);
    output_newline(true);
    return !is_full_;
}

bool Tm_text_creator::close() {
    unindent();
    return !is_full_;
}

/// The indent of each line grows with the levels, so that each kind of them must end somewhere.
bool Tm_text_creator::enter(unsigned int& level) {
    if (level < limits_.max_depth) {
        ++level;
        return true;
    }
    error_ = tm_too_deep(limits_);
    return false;
}

bool Tm_text_creator::leave(unsigned int& level) {
    if (level > 0) --level;
    return close();
}

bool Tm_text_creator::put(Type type, std::string_view text) {
    output_type(type);
    write(" ");
    write(text);
    output_newline(false);
    return !is_full_;
}

bool Tm_text_creator::begin_text(Type type, unsigned int length) {
    output_type(type);
    write(" ");
    indent();
    return begin_item(length);
}

bool Tm_text_creator::begin_bytes(Type type, unsigned int length) {
    output_type(type);
    write("[");
    write(Tm_decimal(length));
    write("]");
    output_newline(true);
    return begin_item(length);
}

bool Tm_text_creator::put_bytes(unsigned int length) {
    write(indent_);
    write("...[");
    write(Tm_decimal(length));
    write("]\n");
    if (end_piece(length)) close();
    return !is_full_;
}

bool Tm_text_creator::visit_method_begin(bool is_request) {
    indent_.clear();
    // What an earlier message left open does not count for this one.
    if (groups_ == 0) members_ = faults_ = 0;
    return enter(groups_) && open(is_request ? TYPE_CALL : TYPE_RESPONSE);
}

bool Tm_text_creator::visit_method_end(bool) { return leave(groups_); }
bool Tm_text_creator::visit_fault_begin() { return enter(faults_) && open(TYPE_FAULT); }
bool Tm_text_creator::visit_fault_end() { return leave(faults_); }

bool Tm_text_creator::visit_method_name_begin(unsigned int length) {
    return begin_text(TYPE_METHOD_NAME, length);
}

bool Tm_text_creator::visit_method_name_continue(char const* data, unsigned int length) {
    write({data, length});
    if (end_piece(length)) {
        write("\n");
        close();
    }
    return !is_full_;
}

bool Tm_text_creator::visit_bool(bool value) { return put(TYPE_BOOL, value ? "true" : "false"); }
bool Tm_text_creator::visit_int8(signed char value) { return put(TYPE_INT8, Tm_decimal(value)); }
bool Tm_text_creator::visit_uint8(unsigned char value) {
    return put(TYPE_UINT8, Tm_decimal(value));
}
bool Tm_text_creator::visit_int16(short value) { return put(TYPE_INT16, Tm_decimal(value)); }
bool Tm_text_creator::visit_uint16(unsigned short value) {
    return put(TYPE_UINT16, Tm_decimal(value));
}
bool Tm_text_creator::visit_int32(int value) { return put(TYPE_INT32, Tm_decimal(value)); }
bool Tm_text_creator::visit_uint32(unsigned int value) {
    return put(TYPE_UINT32, Tm_decimal(value));
}
bool Tm_text_creator::visit_int64(long value) { return put(TYPE_INT64, Tm_decimal(value)); }
bool Tm_text_creator::visit_uint64(unsigned long value) {
    return put(TYPE_UINT64, Tm_decimal(value));
}
bool Tm_text_creator::visit_double(double value) { return put(TYPE_DOUBLE, Tm_decimal(value)); }

bool Tm_text_creator::visit_string_begin(unsigned int length) {
    return begin_text(TYPE_STRING, length);
}

bool Tm_text_creator::visit_string_continue(char const* data, unsigned int length) {
    write({data, length});
    if (end_piece(length)) {
        close();
        output_newline(false);
    }
    return !is_full_;
}

bool Tm_text_creator::visit_binary_begin(unsigned int length) {
    return begin_bytes(TYPE_BINARY, length);
}

bool Tm_text_creator::visit_binary_continue(char const*, unsigned int length) {
    return put_bytes(length);
}

bool Tm_text_creator::visit_struct_begin() { return enter(groups_) && open(TYPE_STRUCT); }
bool Tm_text_creator::visit_struct_end() { return leave(groups_); }

bool Tm_text_creator::visit_member_begin(unsigned int length) {
    return enter(members_) && begin_text(TYPE_MEMBER_NAME, length);
}

bool Tm_text_creator::visit_member_continue(char const* data, unsigned int length) {
    write({data, length});
    end_piece(length);
    return !is_full_;
}

bool Tm_text_creator::visit_member_end() { return leave(members_); }
bool Tm_text_creator::visit_array_begin() { return enter(groups_) && open(TYPE_ARRAY); }
bool Tm_text_creator::visit_array_end() { return leave(groups_); }

bool Tm_text_creator::visit_file_begin(unsigned int length) {
    return begin_bytes(TYPE_FILE, length);
}

bool Tm_text_creator::visit_file_continue(char const*, unsigned int length) {
    return put_bytes(length);
}

bool Tm_text_creator::done() {
    std::fflush(stream_);
    indent_.clear();
    groups_ = members_ = faults_ = 0;
    return true;
}

bool Tm_text_creator::support_member_with_index() { return false; }
