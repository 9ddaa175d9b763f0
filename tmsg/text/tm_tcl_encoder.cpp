#include "tmsg/text/tm_tcl_encoder.h"

namespace {

struct Words {
    std::string_view opening;
    std::string_view closing;
};

/// In the order of Tm_bytes.
constexpr Words words[] = {
    {"name \"", "\" "}, {"\"", "\" {"}, {"string \"", "\" "}, {"binary \"", "\" "}, {"file ", ""}};

Words const& words_of(Tm_bytes bytes) { return words[static_cast<int>(bytes)]; }

}  // namespace

Tm_tcl_encoder::Tm_tcl_encoder(unsigned int limit) : Tm_folded_events(limit) {}

Tm_tcl_encoder::~Tm_tcl_encoder() = default;

bool Tm_tcl_encoder::open(Tm_bracket bracket) {
    // In the order of Tm_bracket.
    constexpr std::string_view openings[] = {"request {", "response {", "fault {",
                                             "struct {",  "array {",    ""};
    append(openings[static_cast<int>(bracket)]);
    return true;
}

bool Tm_tcl_encoder::close(Tm_bracket) {
    append("} ");
    return true;
}

bool Tm_tcl_encoder::begin(Tm_bytes bytes, unsigned int length) {
    if (bytes == Tm_bytes::member_name && is_full()) return snip();
    pieces_.begin(length);
    append(words_of(bytes).opening);
    bool const has_size = bytes == Tm_bytes::binary || bytes == Tm_bytes::file;
    if (has_size) append_plain(length);
    if (has_size) append(bytes == Tm_bytes::binary ? " bytes\" \"" : " ");
    bool const is_empty_value =
        length == 0 && (bytes == Tm_bytes::string || bytes == Tm_bytes::binary);
    if (is_empty_value) append("\"");
    return true;
}

bool Tm_tcl_encoder::piece(Tm_bytes bytes, char const* data, unsigned int length) {
    if (bytes == Tm_bytes::file) return true;
    if (bytes != Tm_bytes::binary) {
        append({data, length});
    } else if (!append_hex(data, length)) {
        return snip();
    }
    if (pieces_.take(length)) append(words_of(bytes).closing);
    return true;
}

/// Ends the text, and with it the walk.
bool Tm_tcl_encoder::snip() {
    append("...SNIPPED...");
    return false;
}

void Tm_tcl_encoder::clear() { empty_text(); }

std::string const& Tm_tcl_encoder::get_string() const { return text(); }
