#include "tmsg/text/tm_xml_encoder.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>

#include "tmsg/value/tm_decimal.h"
#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_limit_error.h"

namespace {

/// An event that starts below the chunk size may run past it by this much.
constexpr std::size_t slack = 128;

std::size_t buffer_size(int chunk_size) {
    if (chunk_size < 1) {
        throw Tm_out_of_range_exception("chunk size", chunk_size, 1,
                                        std::numeric_limits<int>::max());
    }
    return static_cast<std::size_t>(chunk_size) + slack;
}

}  // namespace

Tm_xml_encoder::Tm_xml_encoder(int chunk_size, unsigned long max_text)
    : buffer_(buffer_size(chunk_size)), chunk_size_(chunk_size), max_text_(max_text) {}

Tm_xml_encoder::~Tm_xml_encoder() = default;

void Tm_xml_encoder::begin_fill() {
    fill_ = 0;
    shipped_ = 0;
    writing_ = true;
    counted_ = 0;
    resume_ = 0;
}

bool Tm_xml_encoder::small_chunk_continue() {
    int const shipped = std::min(fill_, chunk_size_);
    fill_ -= shipped;
    shipped_ += static_cast<unsigned long>(shipped);
    std::memmove(buffer_.data(), buffer_.data() + chunk_size_, static_cast<std::size_t>(fill_));
    if (fill_ >= chunk_size_) return false;
    writing_ = false;
    resume_ = counted_;
    counted_ = 0;
    return true;
}

bool Tm_xml_encoder::check_state() {
    if (counted_ == resume_) writing_ = true;
    if (writing_ && fill_ >= chunk_size_) return false;
    ++counted_;
    return true;
}

/// Only a piece of a caller's own, larger than any of the library's, needs more than the slack.
void Tm_xml_encoder::make_room(std::size_t size) {
    std::size_t const end = static_cast<std::size_t>(fill_) + size;
    if (end > max_text_ - shipped_) throw Tm_exception(tm_text_too_long(max_text_));
    if (end > buffer_.size()) buffer_.resize(end);
}

void Tm_xml_encoder::append(std::string_view text) {
    text.copy(buffer_.data() + fill_, text.size());
    fill_ += static_cast<int>(text.size());
}

bool Tm_xml_encoder::put(std::string_view text) {
    if (!check_state()) return false;
    if (!writing_) return true;
    make_room(text.size());
    append(text);
    return true;
}

bool Tm_xml_encoder::put_value(std::string_view tag, std::string_view text) {
    if (!check_state()) return false;
    if (!writing_) return true;
    constexpr std::string_view opening = "<value><";
    constexpr std::string_view closing = "></value>";
    constexpr std::size_t between = 3;  // "></"
    make_room(opening.size() + closing.size() + between + 2 * tag.size() + text.size());
    for (std::string_view const part :
         {opening, tag, std::string_view(">"), text, std::string_view("</"), tag, closing}) {
        append(part);
    }
    return true;
}

bool Tm_xml_encoder::begin_item(unsigned int length, std::string_view opening) {
    if (!put(opening)) return false;
    expected_ = length;
    received_ = 0;
    return true;
}

/// The closing behind the last piece is an event of its own.
bool Tm_xml_encoder::put_piece(char const* data, unsigned int length, std::string_view closing) {
    if (!put({data, length})) return false;
    received_ += length;
    return received_ != expected_ || put(closing);
}

bool Tm_xml_encoder::visit_method_begin(bool is_request) {
    return put(is_request ? "<methodCall>" : "<methodResponse>");
}

bool Tm_xml_encoder::visit_method_end(bool is_request) {
    return put(is_request ? "</methodCall>" : "</methodResponse>");
}

bool Tm_xml_encoder::visit_fault_begin() { return put("<fault>"); }
bool Tm_xml_encoder::visit_fault_end() { return put("</fault>"); }

bool Tm_xml_encoder::visit_method_name_begin(unsigned int length) {
    return begin_item(length, "<methodName>");
}

bool Tm_xml_encoder::visit_method_name_continue(char const* data, unsigned int length) {
    return put_piece(data, length, "</methodName>");
}

bool Tm_xml_encoder::visit_bool(bool value) { return put_value("boolean", value ? "1" : "0"); }
bool Tm_xml_encoder::visit_int8(signed char value) { return put_value("i1", Tm_decimal(value)); }
bool Tm_xml_encoder::visit_uint8(unsigned char value) { return put_value("u1", Tm_decimal(value)); }
bool Tm_xml_encoder::visit_int16(short value) { return put_value("i2", Tm_decimal(value)); }
bool Tm_xml_encoder::visit_uint16(unsigned short value) {
    return put_value("u2", Tm_decimal(value));
}
bool Tm_xml_encoder::visit_int32(int value) { return put_value("i4", Tm_decimal(value)); }
bool Tm_xml_encoder::visit_uint32(unsigned int value) { return put_value("u4", Tm_decimal(value)); }

bool Tm_xml_encoder::visit_int64(long value) {
    return put_value("i8", Tm_decimal(static_cast<unsigned long>(value)));
}

bool Tm_xml_encoder::visit_uint64(unsigned long value) {
    return put_value("u8", Tm_decimal(value));
}
bool Tm_xml_encoder::visit_double(double value) { return put_value("double", Tm_decimal(value)); }

bool Tm_xml_encoder::visit_string_begin(unsigned int length) {
    return begin_item(length, "<value><string>");
}

bool Tm_xml_encoder::visit_string_continue(char const* data, unsigned int length) {
    return put_piece(data, length, "</string></value>");
}

bool Tm_xml_encoder::visit_binary_begin(unsigned int length) {
    return begin_item(length, "<value><base64>");
}

bool Tm_xml_encoder::visit_binary_continue(char const* data, unsigned int length) {
    return put_piece(data, length, "</base64></value>");
}

bool Tm_xml_encoder::visit_struct_begin() { return put("<value><struct>"); }
bool Tm_xml_encoder::visit_struct_end() { return put("</struct></value>\n"); }

bool Tm_xml_encoder::visit_member_begin(unsigned int length) {
    return begin_item(length, "<member><name>");
}

bool Tm_xml_encoder::visit_member_continue(char const* data, unsigned int length) {
    return put_piece(data, length, "</name>");
}

bool Tm_xml_encoder::visit_member_end() { return put("</member>\n"); }
bool Tm_xml_encoder::visit_array_begin() { return put("<value><array><data>"); }
bool Tm_xml_encoder::visit_array_end() { return put("</data></array></value>\n"); }
