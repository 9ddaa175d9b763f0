/// Escapes and colours texts, and writes lines to standard error.
#include "io/terminal.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <utility>

#include "io/output.h"

namespace {

/// A line is cut at this many bytes, because some error texts quote long input.
constexpr std::size_t longest_line = 2000;
constexpr std::chrono::milliseconds interval(300);
constexpr std::size_t megabyte = 1000000;

Colours chosen_colours = Colours::automatic;
bool is_quiet = false;
bool progress_is_shown = false;

bool wants_colours() {
    if (chosen_colours != Colours::automatic) return chosen_colours == Colours::always;
    return output_is_terminal() && std::getenv("NO_COLOR") == nullptr;
}

unsigned int byte_at(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

/// Returns the number of bytes of the first character. Returns 0 when it is not valid or is a
/// control character.
std::size_t size_of_character(std::string_view text) {
    unsigned int const first = byte_at(text, 0);
    if (first < 0x80) return first >= ' ' && first <= '~' ? 1 : 0;
    std::size_t const size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || size > text.size()) return 0;
    unsigned int code = first & (0x7Fu >> size);
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte_at(text, i) & 0xC0) != 0x80) return 0;
        code = code << 6 | (byte_at(text, i) & 0x3F);
    }
    constexpr unsigned int smallest[] = {0, 0, 0xA0, 0x800, 0x10000};
    bool const is_surrogate = code >= 0xD800 && code <= 0xDFFF;
    // These marks change the direction or the lines of the text around them.
    bool const is_mark = (code >= 0x200B && code <= 0x200F) || (code >= 0x2028 && code <= 0x202E) ||
                         (code >= 0x2066 && code <= 0x2069);
    return code < smallest[size] || code > 0x10FFFF || is_surrogate || is_mark ? 0 : size;
}

std::string escaped(unsigned int byte) {
    constexpr std::string_view controls = "\a\b\t\n\v\f\r";
    std::size_t const found = controls.find(static_cast<char>(byte));
    if (found != std::string_view::npos) return {'\\', "abtnvfr"[found]};
    std::string text = "\\x";
    append_hex(text, byte);
    return text;
}

/// Does what printable() does, and puts a backslash before each character of `special`.
std::string escape(std::string_view text, std::string_view special) {
    std::string result;
    while (!text.empty()) {
        std::size_t const size = size_of_character(text);
        if (size == 0) {
            result += escaped(byte_at(text, 0));
        } else {
            if (special.find(text.front()) != std::string_view::npos) result += '\\';
            result += text.substr(0, size);
        }
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return result;
}

/// Returns the first `most` bytes, or up to 3 fewer, so that no character is cut.
std::string_view first_of(std::string_view text, std::size_t most) {
    std::size_t end = std::min(text.size(), most);
    auto const is_within_character = [&] {
        return end < text.size() && end + 3 > most && (byte_at(text, end) & 0xC0) == 0x80;
    };
    while (end > 0 && is_within_character()) --end;
    return text.substr(0, end);
}

}  // namespace

void use_colours(Colours colours) { chosen_colours = colours; }

std::string printable(std::string_view text) { return escape(text, ""); }

std::string shortened(std::string_view text, std::size_t most) {
    return printable(first_of(text, most)) + (text.size() > most ? "..." : "");
}

std::string quoted(std::string_view text, std::size_t most) {
    return '"' + escape(first_of(text, most), "\"\\") + '"' + (text.size() > most ? "..." : "");
}

void append_hex(std::string& to, unsigned int byte) {
    to += "0123456789abcdef"[byte >> 4];
    to += "0123456789abcdef"[byte & 15];
}

std::string hexadecimal(std::string_view bytes, std::size_t most) {
    std::string result;
    for (std::size_t i = 0; i < std::min(bytes.size(), most); ++i) {
        if (i > 0) result += ' ';
        append_hex(result, byte_at(bytes, i));
    }
    return result + (bytes.size() > most ? " ..." : "");
}

std::string painted(Colour colour, std::string_view text) {
    static bool const wanted = wants_colours();
    std::string plain(text);
    if (!wanted || colour == Colour::none) return plain;
    return "\x1B[" + std::to_string(static_cast<int>(colour)) + "m" + plain + "\x1B[0m";
}

void report(std::string_view text) {
    bool const is_cut = text.size() > longest_line;
    wipe_progress();
    // A text of the output may have no line feed at its end.
    bool const is_within_line = !output_ends_line() && output_is_terminal();
    if (is_within_line && ::isatty(STDERR_FILENO) != 0) std::cerr << '\n';
    std::cerr << "tmsg: " << printable(text.substr(0, longest_line)) << (is_cut ? "..." : "")
              << std::endl;
}

void note(std::string_view text) {
    if (!is_quiet) report(text);
}

void be_quiet() { is_quiet = true; }

void wipe_progress() {
    if (progress_is_shown) std::cerr << "\r\x1B[K" << std::flush;
    progress_is_shown = false;
}

Progress::Progress(std::string what, std::size_t total)
    : what_(std::move(what)),
      total_(total),
      is_wanted_(!is_quiet && ::isatty(STDERR_FILENO) != 0),
      next_(Clock::now() + interval) {}

Progress::~Progress() { wipe_progress(); }

void Progress::advance(std::size_t bytes) {
    done_ += bytes;
    if (!is_wanted_ || (output_size() > 0 && output_is_terminal())) return;
    auto const now = Clock::now();
    if (now < next_) return;
    next_ = now + interval;
    progress_is_shown = true;
    show();
}

void Progress::show() const {
    std::cerr << '\r' << what_ << ' ' << done_ / megabyte << " MB";
    if (total_ > 0) std::cerr << ", " << done_ * 100 / total_ << " %";
    std::cerr << "\x1B[K" << std::flush;
}
