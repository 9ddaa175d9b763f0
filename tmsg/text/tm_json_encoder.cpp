#include "tmsg/text/tm_json_encoder.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace {

/// The most bytes that one escaped byte takes.
constexpr std::size_t longest_escape = 6;

/// For each byte: 0 when the byte is not escaped, else the character after the backslash.
constexpr std::array<char, 256> make_escapes() {
    std::array<char, 256> escapes{};
    for (std::size_t byte = 0; byte < escapes.size(); ++byte) {
        escapes[byte] = byte >= ' ' && byte <= '~' ? '\0' : 'u';
    }
    escapes['"'] = '"';
    escapes['\\'] = '\\';
    escapes['\b'] = 'b';
    escapes['\t'] = 't';
    escapes['\n'] = 'n';
    escapes['\f'] = 'f';
    escapes['\r'] = 'r';
    return escapes;
}

constexpr std::array<char, 256> escapes = make_escapes();

char escape_of(char c) { return escapes[static_cast<unsigned char>(c)]; }

using Block = std::uint64_t;

constexpr Block in_each_byte(unsigned char byte) { return Block{0x0101010101010101} * byte; }

constexpr std::ptrdiff_t block_size = sizeof(Block);

bool is_plain_block(char const* data) {
    Block block = 0;
    std::memcpy(&block, data, sizeof block);
    // A top bit is set here only by a byte that is escaped, or by its carry into the next bytes.
    Block const control = block - in_each_byte(' ');
    Block const above_tilde = block | (block + in_each_byte(0x7F - '~'));
    Block const quote = (block ^ in_each_byte('"')) - in_each_byte(1);
    Block const backslash = (block ^ in_each_byte('\\')) - in_each_byte(1);
    return ((control | above_tilde | quote | backslash) & in_each_byte(0x80)) == 0;
}

char const* find_escaped(char const* data, char const* end) {
    if (end - data >= block_size) {
        char const* const last_block = end - block_size;
        while (data < last_block && is_plain_block(data)) data += block_size;
        if (data >= last_block && is_plain_block(last_block)) return end;
    }
    return std::find_if(data, end, escape_of);
}

char* write_escape(char c, char* at) {
    auto const byte = static_cast<unsigned char>(c);
    *at++ = '\\';
    *at++ = escape_of(c);
    if (escape_of(c) != 'u') return at;
    for (char const digit :
         {'0', '0', "0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]}) {
        *at++ = digit;
    }
    return at;
}

/// Writes the escaped text to `at`, where the caller must have room for length * longest_escape
/// bytes. Returns the end of the escaped text.
char* write_escaped(char const* data, std::size_t length, char* at) {
    char const* const end = data + length;
    while (data != end) {
        char const* const escaped = find_escaped(data, end);
        at = std::copy(data, escaped, at);
        data = escaped;
        while (data != end && escape_of(*data) != '\0') at = write_escape(*data++, at);
    }
    return at;
}

}  // namespace

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
        char* const at = make_room(part.size() * longest_escape);
        end_text(write_escaped(part.data(), part.size(), at));
        rest.remove_prefix(part.size());
    }
}
