#include "tmsg/text/tm_tcl_encoder.h"

#include "tmsg/value/tm_plain.h"
#include "tmsg/value/tm_value.h"

Tm_tcl_encoder::Tm_tcl_encoder(unsigned int limit) : Tm_text_encoder(limit) {}

Tm_tcl_encoder::~Tm_tcl_encoder() = default;

bool Tm_tcl_encoder::put(std::string_view text) {
    append(text);
    return true;
}

template <class Number>
bool Tm_tcl_encoder::put_number(Number value) {
    static std::string_view const type = Tm_value::tmv_to_string(Tm_plain<Number>::code);
    append(type);
    append(" ");
    append_number(value);
    return put(" ");
}

bool Tm_tcl_encoder::put_piece(char const* data, unsigned int length, std::string_view closing) {
    append({data, length});
    if (end_piece(length)) append(closing);
    return true;
}

/// Ends the text, and with it the walk.
bool Tm_tcl_encoder::snip() {
    append("...SNIPPED...");
    return false;
}

bool Tm_tcl_encoder::visit_method_begin(bool is_request) {
    return put(is_request ? "request {" : "response {");
}

bool Tm_tcl_encoder::visit_method_end(bool) { return put("} "); }
bool Tm_tcl_encoder::visit_fault_begin() { return put("fault {"); }
bool Tm_tcl_encoder::visit_fault_end() { return put("} "); }

bool Tm_tcl_encoder::visit_method_name_begin(unsigned int length) {
    begin_item(length);
    return put("name \"");
}

bool Tm_tcl_encoder::visit_method_name_continue(char const* data, unsigned int length) {
    return visit_string_continue(data, length);
}

bool Tm_tcl_encoder::visit_bool(bool value) { return put(value ? "bool true " : "bool false "); }
bool Tm_tcl_encoder::visit_int8(signed char value) { return put_number(value); }
bool Tm_tcl_encoder::visit_uint8(unsigned char value) { return put_number(value); }
bool Tm_tcl_encoder::visit_int16(short value) { return put_number(value); }
bool Tm_tcl_encoder::visit_uint16(unsigned short value) { return put_number(value); }
bool Tm_tcl_encoder::visit_int32(int value) { return put_number(value); }
bool Tm_tcl_encoder::visit_uint32(unsigned int value) { return put_number(value); }
bool Tm_tcl_encoder::visit_int64(long value) { return put_number(value); }
bool Tm_tcl_encoder::visit_uint64(unsigned long value) { return put_number(value); }
bool Tm_tcl_encoder::visit_double(double value) { return put_number(value); }

bool Tm_tcl_encoder::visit_string_begin(unsigned int length) {
    begin_item(length);
    return put(length == 0 ? "string \"\"" : "string \"");
}

bool Tm_tcl_encoder::visit_string_continue(char const* data, unsigned int length) {
    return put_piece(data, length, "\" ");
}

bool Tm_tcl_encoder::visit_binary_begin(unsigned int length) {
    begin_item(length);
    append("binary \"");
    append_number(length);
    return put(length == 0 ? R"( bytes" "")" : R"( bytes" ")");
}

bool Tm_tcl_encoder::visit_binary_continue(char const* data, unsigned int length) {
    if (!append_hex(data, length)) return snip();
    if (end_piece(length)) append("\" ");
    return true;
}

bool Tm_tcl_encoder::visit_struct_begin() { return put("struct {"); }
bool Tm_tcl_encoder::visit_struct_end() { return put("} "); }

bool Tm_tcl_encoder::visit_member_begin(unsigned int length) {
    if (is_full()) return snip();
    begin_item(length);
    return put("\"");
}

bool Tm_tcl_encoder::visit_member_continue(char const* data, unsigned int length) {
    return put_piece(data, length, "\" {");
}

bool Tm_tcl_encoder::visit_member_end() { return put("} "); }
bool Tm_tcl_encoder::visit_array_begin() { return put("array {"); }
bool Tm_tcl_encoder::visit_array_end() { return put("} "); }

bool Tm_tcl_encoder::visit_file_begin(unsigned int length) {
    append("file ");
    append_number(length);
    return put(" ");
}

bool Tm_tcl_encoder::visit_file_continue(char const*, unsigned int) { return true; }

void Tm_tcl_encoder::clear() { empty_text(); }

std::string const& Tm_tcl_encoder::get_string() const { return text(); }
