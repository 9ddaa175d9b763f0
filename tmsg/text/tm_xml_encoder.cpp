#include "tmsg/text/tm_xml_encoder.h"

#include <algorithm>
#include <cstddef>

#include "tmsg/value/internal/tm_limit_error.h"
#include "tmsg/value/tm_decimal.h"
#include "tmsg/value/tm_exception.h"

namespace {

struct Tags {
    std::string_view opening;
    std::string_view closing;
};

/// In the order of Tm_bracket.
constexpr Tags brackets[] = {
    {"<methodCall>", "</methodCall>"},
    {"<methodResponse>", "</methodResponse>"},
    {"<fault>", "</fault>"},
    {"<value><struct>", "</struct></value>\n"},
    {"<value><array><data>", "</data></array></value>\n"},
    {"", "</member>\n"},
};

/// In the order of Tm_bytes.
constexpr Tags byte_tags[] = {
    {"<methodName>", "</methodName>"},
    {"<member><name>", "</name>"},
    {"<value><string>", "</string></value>"},
    {"<value><base64>", "</base64></value>"},
    {"", ""},
};

}  // namespace

Tm_xml_encoder::Tm_xml_encoder(int chunk_size, unsigned long max_text) : max_text_(max_text) {
    chunk_.init(chunk_size, 0);
}

Tm_xml_encoder::~Tm_xml_encoder() = default;

void Tm_xml_encoder::begin_fill() {
    chunk_.clear();
    shipped_ = 0;
    writing_ = true;
    counted_ = 0;
    resume_ = 0;
}

bool Tm_xml_encoder::small_chunk_continue() {
    shipped_ += static_cast<unsigned long>(std::min(fill(), chunk_size()));
    if (!chunk_.next_chunk()) return false;
    writing_ = false;
    resume_ = counted_;
    counted_ = 0;
    return true;
}

bool Tm_xml_encoder::check_state() {
    if (counted_ == resume_) writing_ = true;
    if (writing_ && chunk_.left() <= 0) return false;
    ++counted_;
    return true;
}

void Tm_xml_encoder::make_room(std::size_t size) {
    std::size_t const end = static_cast<std::size_t>(fill()) + size;
    if (end > max_text_ - shipped_) throw Tm_exception(tm_text_too_long(max_text_));
    chunk_.make_memory(size);
}

bool Tm_xml_encoder::put_text(std::string_view text) {
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
    append(opening);
    append(tag);
    append(">");
    append(text);
    append("</");
    append(tag);
    append(closing);
    return true;
}

bool Tm_xml_encoder::open(Tm_bracket bracket) {
    return put_text(brackets[static_cast<int>(bracket)].opening);
}

bool Tm_xml_encoder::close(Tm_bracket bracket) {
    return put_text(brackets[static_cast<int>(bracket)].closing);
}

bool Tm_xml_encoder::put_scalar(TMV type, std::string_view text) {
    // In the order of the type codes.
    constexpr std::string_view tags[] = {"i1", "u1", "i2", "u2",     "i4",
                                         "u4", "i8", "u8", "double", "boolean"};
    return put_value(tags[type], text);
}

bool Tm_xml_encoder::begin(Tm_bytes bytes, unsigned int length) {
    if (!put_text(byte_tags[static_cast<int>(bytes)].opening)) return false;
    pieces_.begin(length);
    return true;
}

/// The closing tag after the last piece is an event of its own.
bool Tm_xml_encoder::piece(Tm_bytes bytes, char const* data, unsigned int length) {
    if (!put_text({data, length})) return false;
    return !pieces_.take(length) || put_text(byte_tags[static_cast<int>(bytes)].closing);
}

Tm_xml_file_size_encoder::~Tm_xml_file_size_encoder() = default;

bool Tm_xml_file_size_encoder::visit_file_begin(unsigned int length) {
    return put_value("file", Tm_decimal(length));
}

bool Tm_xml_file_size_encoder::visit_file_continue(char const*, unsigned int) { return true; }
