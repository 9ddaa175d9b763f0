#include "tmsg/text/tm_json_encoder.h"

#include <cstddef>
#include <string_view>

#include "tmsg/text/tm_json_escape.h"

Tm_json_encoder::Tm_json_encoder(unsigned int limit) : Tm_text_encoder(limit) {}

Tm_json_encoder::~Tm_json_encoder() = default;

/// The comma in front of a value. False: the value is left out.
bool Tm_json_encoder::begin_value() {
    if (snipped_) return false;
    if (value_commas_.needs_comma()) append(", ");
    return true;
}

/// The same for a container, whose end must be left out too.
bool Tm_json_encoder::begin_container() {
    if (snipped_) oversize_.push();
    return begin_value();
}

bool Tm_json_encoder::ends_unwritten_container() { return snipped_ && oversize_.pop(); }

template <class Number>
bool Tm_json_encoder::put_number(Number value) {
    if (begin_value()) append_number(value);
    return true;
}

bool Tm_json_encoder::visit_method_begin(bool is_request) {
    value_commas_.push_in_type(true);
    append(is_request ? "{" : "{\"response\": [");
    return true;
}

bool Tm_json_encoder::visit_method_end(bool) {
    value_commas_.pop_in_type();
    append(snipped_ ? R"(], "__SNIPPED__" : true})" : "]}");
    return true;
}

bool Tm_json_encoder::visit_fault_begin() { return true; }
bool Tm_json_encoder::visit_fault_end() { return true; }

bool Tm_json_encoder::visit_method_name_begin(unsigned int length) {
    append(R"("name": ")");
    begin_item(length);
    return true;
}

bool Tm_json_encoder::visit_method_name_continue(char const* data, unsigned int length) {
    if (visit_string_continue(data, length)) {
        value_commas_.push_in_type(true);
        append(", \"request\": [");
    }
    return true;
}

bool Tm_json_encoder::visit_bool(bool value) {
    if (begin_value()) append(value ? "true" : "false");
    return true;
}

bool Tm_json_encoder::visit_int8(signed char value) { return put_number(value); }
bool Tm_json_encoder::visit_uint8(unsigned char value) { return put_number(value); }
bool Tm_json_encoder::visit_int16(short value) { return put_number(value); }
bool Tm_json_encoder::visit_uint16(unsigned short value) { return put_number(value); }
bool Tm_json_encoder::visit_int32(int value) { return put_number(value); }
bool Tm_json_encoder::visit_uint32(unsigned int value) { return put_number(value); }
bool Tm_json_encoder::visit_int64(long value) { return put_number(value); }
bool Tm_json_encoder::visit_uint64(unsigned long value) { return put_number(value); }
bool Tm_json_encoder::visit_double(double value) { return put_number(value); }

bool Tm_json_encoder::visit_string_begin(unsigned int length) {
    if (!begin_value()) return true;
    begin_item(length);
    append(length == 0 ? "\"\"" : "\"");
    return true;
}

bool Tm_json_encoder::visit_string_continue(char const* data, unsigned int length) {
    if (snipped_) return true;
    escape_and_append(data, length);
    if (end_piece(length)) append("\"");
    return true;
}

bool Tm_json_encoder::visit_binary_begin(unsigned int length) {
    if (!begin_value()) return true;
    begin_item(length);
    append(R"({"type": "binary", "size": )");
    append_number(length);
    append(length == 0 ? R"(, "hex": ""})" : R"(, "hex": ")");
    return true;
}

bool Tm_json_encoder::visit_binary_continue(char const* data, unsigned int length) {
    if (snipped_) return true;
    if (!append_hex(data, length)) snipped_ = true;
    if (end_piece(length)) append("\"}");
    return true;
}

bool Tm_json_encoder::visit_struct_begin() {
    if (!begin_container()) return true;
    value_commas_.push_in_type(false);
    member_commas_.push_in_type(true);
    append("{");
    return true;
}

bool Tm_json_encoder::visit_struct_end() {
    if (ends_unwritten_container()) return true;
    value_commas_.pop_in_type();
    member_commas_.pop_in_type();
    append("}");
    return true;
}

bool Tm_json_encoder::visit_member_begin(unsigned int length) {
    if (is_full()) snipped_ = true;
    if (snipped_) return true;
    if (member_commas_.needs_comma()) append(", ");
    append("\"");
    begin_item(length);
    return true;
}

bool Tm_json_encoder::visit_member_continue(char const* data, unsigned int length) {
    if (snipped_) return true;
    append({data, length});
    if (end_piece(length)) append("\": ");
    return true;
}

bool Tm_json_encoder::visit_member_end() { return true; }

bool Tm_json_encoder::visit_array_begin() {
    if (!begin_container()) return true;
    value_commas_.push_in_type(true);
    append("[");
    return true;
}

bool Tm_json_encoder::visit_array_end() {
    if (ends_unwritten_container()) return true;
    value_commas_.pop_in_type();
    append("]");
    return true;
}

bool Tm_json_encoder::visit_file_begin(unsigned int length) {
    if (!begin_value()) return true;
    append(R"({"type": "file", "size": )");
    append_number(length);
    append("}");
    return true;
}

bool Tm_json_encoder::visit_file_continue(char const*, unsigned int) { return true; }

void Tm_json_encoder::clear() {
    empty_text();
    snipped_ = false;
}

std::string const& Tm_json_encoder::get_string() const { return text(); }

/// In parts, so that a long piece does not reserve six times its size.
void Tm_json_encoder::escape_and_append(char const* data, unsigned int length) {
    constexpr std::size_t most_at_once = 512;
    for (std::string_view rest(data, length); !rest.empty();) {
        std::string_view const part = rest.substr(0, most_at_once);
        char* const at = make_room(part.size() * tm_longest_escape);
        end_text(tm_write_escaped(part.data(), part.size(), at));
        rest.remove_prefix(part.size());
    }
}
