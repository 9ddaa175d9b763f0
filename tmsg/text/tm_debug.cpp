#include "tmsg/text/tm_debug.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tmsg/value/tm_decimal.h"
#include "tmsg/value/tm_folded_events.h"
#include "tmsg/value/tm_plain.h"
#include "tmsg/value/tm_value.h"

namespace {

constexpr std::size_t most_text = 16000;
constexpr std::string_view dots = "...";
/// The bytes of a byte string that are shown.
constexpr unsigned int most_bytes = 16;
constexpr int most_levels = 60;

/// The text that was made last. There is room for an end of the text behind the longest text.
constexpr std::string_view incomplete = "(incomplete)";
char last_text[most_text + incomplete.size() + 1];

/// Writes a text into a buffer. Refuses every event once the buffer is full.
class Debug_text : public Tm_folded_events<Debug_text> {
public:
    explicit Debug_text(char* buffer) : begin_(buffer), end_(buffer) {}

    /// Adds dots to a text that is cut, or else `after`.
    void end_text(std::string_view after) {
        append(is_cut_ ? dots : after);
        *end_ = '\0';
    }

private:
    friend class Tm_folded_events<Debug_text>;

    bool open(Tm_bracket bracket);
    bool close(Tm_bracket bracket);
    template <class Plain>
    bool put(Plain value) {
        return put_scalar(Tm_plain<Plain>::code, Tm_decimal(value));
    }
    bool put(bool value) { return put_scalar(TMV_BOOL, value ? "true" : "false"); }
    bool put_scalar(TMV type, std::string_view text);
    bool begin(Tm_bytes bytes, unsigned int length);
    bool piece(Tm_bytes bytes, char const* data, unsigned int length);
    bool end(Tm_bytes bytes);

    bool write(std::string_view text);
    void append(std::string_view text);
    bool write_escaped(std::string_view text);
    bool write_hex(unsigned char byte);
    bool begin_value(std::string_view text);
    bool end_value();

    char const* begin_;
    char* end_;
    bool is_cut_ = false;
    int levels_ = 0;
    /// A bit for each open level, set for a message. The innermost level has the lowest bit.
    std::uint64_t kinds_ = 0;
    std::string_view separator_;
    Tm_piece_count pieces_;
    unsigned int bytes_left_ = 0;
};

bool Debug_text::write(std::string_view text) {
    std::size_t const room = most_text - static_cast<std::size_t>(end_ - begin_);
    is_cut_ = is_cut_ || text.size() > room;
    append(text.substr(0, room));
    return !is_cut_;
}

void Debug_text::append(std::string_view text) { end_ += text.copy(end_, text.size()); }

bool Debug_text::write_hex(unsigned char byte) {
    constexpr std::string_view digits = "0123456789abcdef";
    char const text[] = {digits[byte >> 4U], digits[byte & 15U]};
    return write({text, sizeof text});
}

bool Debug_text::write_escaped(std::string_view text) {
    for (char const byte : text) {
        auto const code = static_cast<unsigned char>(byte);
        if (byte == '"' || byte == '\\') write("\\");
        if (code < ' ' || code == 0x7F) {
            write("\\x");
            write_hex(code);
        } else {
            write({&byte, 1});
        }
    }
    return !is_cut_;
}

bool Debug_text::begin_value(std::string_view text) {
    write(separator_);
    return write(text);
}

/// The groups of a message stand side by side. Other values have commas between them.
bool Debug_text::end_value() {
    separator_ = (kinds_ & 1U) != 0 ? " " : ", ";
    return !is_cut_;
}

bool Debug_text::open(Tm_bracket bracket) {
    if (bracket == Tm_bracket::fault) return write("(fault)");
    if (levels_ == most_levels) is_cut_ = true;
    if (is_cut_) return false;
    bool const is_message = bracket == Tm_bracket::request || bracket == Tm_bracket::response;
    ++levels_;
    kinds_ = kinds_ << 1U | (is_message ? 1U : 0U);
    if (bracket == Tm_bracket::request) begin_value("request");
    if (bracket == Tm_bracket::response) begin_value("response");
    if (bracket == Tm_bracket::structure) begin_value("{");
    if (bracket == Tm_bracket::array) begin_value("[");
    separator_ = is_message ? " " : "";
    return !is_cut_;
}

bool Debug_text::close(Tm_bracket bracket) {
    if (bracket == Tm_bracket::fault || bracket == Tm_bracket::member) return true;
    --levels_;
    kinds_ >>= 1U;
    if (bracket == Tm_bracket::structure) write("}");
    if (bracket == Tm_bracket::array) write("]");
    return end_value();
}

bool Debug_text::put_scalar(TMV type, std::string_view text) {
    begin_value(Tm_value::tmv_to_string(type));
    write(" ");
    write(text);
    return end_value();
}

bool Debug_text::begin(Tm_bytes bytes, unsigned int length) {
    pieces_.begin(length);
    bytes_left_ = most_bytes;
    if (bytes == Tm_bytes::binary || bytes == Tm_bytes::file) {
        begin_value(bytes == Tm_bytes::file ? "file[" : "binary[");
        write(std::string_view(Tm_decimal(length)));
        write("]");
        if (bytes == Tm_bytes::file) return end_value();
        if (length > 0) write(" ");
    } else {
        bool const is_string = bytes == Tm_bytes::string;
        begin_value(is_string ? "\"" : length == 0 ? "\"\"" : "");
    }
    return length == 0 ? end(bytes) : !is_cut_;
}

bool Debug_text::piece(Tm_bytes bytes, char const* data, unsigned int length) {
    // The pieces of a large file have no data.
    if (bytes == Tm_bytes::file) return true;
    if (bytes == Tm_bytes::binary) {
        unsigned int const shown = std::min(length, bytes_left_);
        for (unsigned int i = 0; i < shown; ++i) write_hex(static_cast<unsigned char>(data[i]));
        if (shown < length && bytes_left_ > 0) write(dots);
        bytes_left_ -= shown;
    } else {
        write_escaped({data, length});
    }
    return pieces_.take(length) ? end(bytes) : !is_cut_;
}

bool Debug_text::end(Tm_bytes bytes) {
    if (bytes == Tm_bytes::string) write("\"");
    if (bytes != Tm_bytes::member_name) return end_value();
    separator_ = "";
    return write(": ");
}

}  // namespace

char const* tmsg_debug_text(Tm_value const* value) noexcept {
    Debug_text text(last_text);
    std::string_view after;
    try {
        if (value == nullptr) {
            after = "null";
        } else {
            value->accept(text);
        }
    } catch (...) {
        after = incomplete;
    }
    text.end_text(after);
    return last_text;
}
