/// Writes list text that reads back as the same message.
#include "forms/exact_text.h"

#include <unistd.h>

#include <charconv>
#include <string_view>

#include "forms/difference.h"
#include "forms/reader.h"
#include "forms/writer.h"
#include "io/system.h"
#include "io/terminal.h"

namespace {

class Exact_encoder : public Tm_tcl_encoder {
public:
    Exact_encoder() : Tm_tcl_encoder(NO_LIMIT) {}

    bool visit_method_name_begin(unsigned int length) override;
    bool visit_member_begin(unsigned int length) override;
    bool visit_double(double value) override;
    bool visit_method_name_continue(char const* data, unsigned int length) override {
        // NOLINTNEXTLINE(bugprone-parent-virtual-call): the encoder passes it on as a string.
        return Tm_folded_events::visit_method_name_continue(data, length);
    }
    bool visit_string_continue(char const* data, unsigned int length) override;
    bool visit_binary_begin(unsigned int length) override { return begin_bytes("binary", length); }
    bool visit_binary_continue(char const* data, unsigned int length) override {
        return append_bytes(data, length);
    }
    bool visit_file_begin(unsigned int length) override { return begin_bytes("file", length); }
    bool visit_file_continue(char const* data, unsigned int length) override {
        return append_bytes(data, length);
    }
    bool visit_file_begin(int fd, unsigned int length) override;
    bool visit_file_continue(int fd, std::string const& path, unsigned int length) override;

private:
    bool begin_bytes(std::string_view keyword, unsigned int length);
    bool append_bytes(char const* data, unsigned int length);
    void append_escaped(char byte);
};

// An empty name has no pieces, so its closing quote follows at once.

bool Exact_encoder::visit_method_name_begin(unsigned int length) {
    bool const is_taken = Tm_tcl_encoder::visit_method_name_begin(length);
    if (length == 0) append("\" ");
    return is_taken;
}

bool Exact_encoder::visit_member_begin(unsigned int length) {
    bool const is_taken = Tm_tcl_encoder::visit_member_begin(length);
    if (length == 0) append("\" {");
    return is_taken;
}

/// Writes the fewest digits from which the same number is read.
bool Exact_encoder::visit_double(double value) {
    constexpr std::size_t longest = 32;
    char digits[longest];
    auto const end = std::to_chars(digits, digits + longest, value).ptr;
    append("double ");
    append({digits, static_cast<std::size_t>(end - digits)});
    append(" ");
    return true;
}

bool Exact_encoder::visit_string_continue(char const* data, unsigned int length) {
    for (char const byte : std::string_view(data, length)) {
        if (byte == '"' || byte == '\\') append("\\");
        append({&byte, 1});
    }
    if (pieces_.take(length)) append("\" ");
    return true;
}

bool Exact_encoder::begin_bytes(std::string_view keyword, unsigned int length) {
    pieces_.begin(length);
    append(keyword);
    append(" ");
    append_plain(length);
    append(length == 0 ? " \"\" " : " \"");
    return true;
}

bool Exact_encoder::append_bytes(char const* data, unsigned int length) {
    for (char const byte : std::string_view(data, length)) append_escaped(byte);
    if (pieces_.take(length)) append("\" ");
    return true;
}

void Exact_encoder::append_escaped(char byte) {
    auto const code = static_cast<unsigned char>(byte);
    bool const is_plain = code >= ' ' && code <= '~' && byte != '"' && byte != '\\';
    if (is_plain) return append({&byte, 1});
    std::string escape = "\\x";
    ::append_hex(escape, code);
    append(escape);
}

bool Exact_encoder::visit_file_begin(int fd, unsigned int length) {
    ::lseek(fd, 0, SEEK_SET);
    return visit_file_begin(length);
}

bool Exact_encoder::visit_file_continue(int fd, std::string const& path, unsigned int length) {
    std::string piece(length, '\0');
    if (Tm_file::read_n(fd, piece.data(), length) != static_cast<long>(length)) {
        throw Tm_file_read_exception(path);
    }
    return visit_file_continue(piece.data(), length);
}

void check(std::string const& text, Message const& message) {
    Temporary_files files;
    Tm_tcl_decoder decoder(no_limits());
    Files_of const guard(decoder, files);
    decoder.decode(text);
    std::string lines = decoder.error();
    auto const* const read = decoder.error().empty() ? decoder.get_value() : nullptr;
    if (read != nullptr && read->get_value_type() == TMV_MESSAGE) {
        find_differences(message, static_cast<Message const&>(*read),
                         [&](std::string_view line) { lines += line; });
        if (lines.empty()) return;
    }
    throw Failure("list text cannot hold this message: " + lines.substr(0, lines.find('\n')));
}

}  // namespace

std::string exact_list_text(Message const& message) {
    Exact_encoder encoder;
    message.accept(encoder);
    std::string text = encoder.get_string();
    check(text, message);
    return text;
}
