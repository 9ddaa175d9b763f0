#include "tmsg/text/tm_json_encoder.h"

#include <cstddef>
#include <string_view>

#include "tmsg/text/internal/tm_json_escape.h"

Tm_json_encoder::Tm_json_encoder(unsigned int limit) : Tm_folded_events(limit) {}

Tm_json_encoder::~Tm_json_encoder() = default;

/// Writes the comma before a value. Returns false when the value is left out.
bool Tm_json_encoder::begin_value() {
    if (snipped_) return false;
    if (value_commas_.needs_comma()) append(", ");
    return true;
}

/// Does the same for a member. No member is written after the limit.
bool Tm_json_encoder::begin_member() {
    if (is_full()) snipped_ = true;
    if (snipped_) return false;
    if (member_commas_.needs_comma()) append(", ");
    return true;
}

/// The end of a container that is left out must be left out too.
void Tm_json_encoder::open_container(bool is_list, std::string_view text) {
    if (snipped_) oversize_.push();
    if (!begin_value()) return;
    value_commas_.push_in_type(is_list);
    if (!is_list) member_commas_.push_in_type(true);
    append(text);
}

void Tm_json_encoder::close_container(bool is_list, std::string_view text) {
    if (snipped_ && oversize_.pop()) return;
    value_commas_.pop_in_type();
    if (!is_list) member_commas_.pop_in_type();
    append(text);
}

bool Tm_json_encoder::open(Tm_bracket bracket) {
    switch (bracket) {
        case Tm_bracket::structure:
            open_container(false, "{");
            break;
        case Tm_bracket::array:
            open_container(true, "[");
            break;
        case Tm_bracket::request:
        case Tm_bracket::response:
            value_commas_.push_in_type(true);
            append(bracket == Tm_bracket::request ? "{" : "{\"response\": [");
            break;
        default:
            break;
    }
    return true;
}

bool Tm_json_encoder::close(Tm_bracket bracket) {
    switch (bracket) {
        case Tm_bracket::structure:
            close_container(false, "}");
            break;
        case Tm_bracket::array:
            close_container(true, "]");
            break;
        case Tm_bracket::request:
        case Tm_bracket::response:
            value_commas_.pop_in_type();
            append(snipped_ ? R"(], "__SNIPPED__" : true})" : "]}");
            break;
        default:
            break;
    }
    return true;
}

bool Tm_json_encoder::begin(Tm_bytes bytes, unsigned int length) {
    bool const is_value = bytes != Tm_bytes::method_name && bytes != Tm_bytes::member_name;
    bool const is_written =
        bytes == Tm_bytes::method_name || (is_value ? begin_value() : begin_member());
    if (!is_written) return true;
    pieces_.begin(length);
    switch (bytes) {
        case Tm_bytes::method_name:
            append(R"("name": ")");
            break;
        case Tm_bytes::member_name:
            append("\"");
            break;
        case Tm_bytes::string:
            append(length == 0 ? "\"\"" : "\"");
            break;
        case Tm_bytes::binary:
            append(R"({"type": "binary", "size": )");
            append_plain(length);
            append(length == 0 ? R"(, "hex": ""})" : R"(, "hex": ")");
            break;
        case Tm_bytes::file:
            append(R"({"type": "file", "size": )");
            append_plain(length);
            append("}");
            break;
    }
    return true;
}

bool Tm_json_encoder::piece(Tm_bytes bytes, char const* data, unsigned int length) {
    if (bytes == Tm_bytes::file) return true;
    if (!snipped_) put_piece(bytes, data, length);
    return true;
}

bool Tm_json_encoder::visit_method_name_continue(char const* data, unsigned int length) {
    if (visit_string_continue(data, length)) {
        value_commas_.push_in_type(true);
        append(", \"request\": [");
    }
    return true;
}

void Tm_json_encoder::put_piece(Tm_bytes bytes, char const* data, unsigned int length) {
    if (bytes == Tm_bytes::member_name) {
        append({data, length});
    } else if (bytes != Tm_bytes::binary) {
        escape_and_append(data, length);
    } else if (!append_hex(data, length)) {
        snipped_ = true;
    }
    if (!pieces_.take(length)) return;
    append(bytes == Tm_bytes::string ? "\"" : bytes == Tm_bytes::binary ? "\"}" : "\": ");
}

void Tm_json_encoder::clear() {
    empty_text();
    snipped_ = false;
}

std::string const& Tm_json_encoder::get_string() const { return text(); }

/// Works in parts, so that a long piece does not reserve six times its size.
void Tm_json_encoder::escape_and_append(char const* data, unsigned int length) {
    constexpr std::size_t most_at_once = 512;
    for (std::string_view rest(data, length); !rest.empty();) {
        std::string_view const part = rest.substr(0, most_at_once);
        char* const at = make_room(part.size() * tm_longest_escape);
        end_text(tm_write_escaped(part.data(), part.size(), at));
        rest.remove_prefix(part.size());
    }
}
