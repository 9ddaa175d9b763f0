#include "tmsg/text/tm_tcl_quotes.h"

#include <cstddef>

namespace {

/// -1 when it is no hexadecimal digit.
int get_hex(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

char control_character(char letter) {
    switch (letter) {
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        case 'b':
            return '\b';
        default:
            return letter;
    }
}

}  // namespace

bool tm_ends_with_quote(std::string_view text) {
    if (text.empty() || text.back() != '"') return false;
    text.remove_suffix(1);
    std::size_t const last_other = text.find_last_not_of('\\');
    std::size_t const backslashes = text.size() - (last_other + 1);
    return backslashes % 2 == 0;
}

std::string_view tm_unescape(std::string_view text, std::string& unescaped) {
    unescaped.clear();
    while (!text.empty()) {
        std::size_t const plain = text.find('\\');
        unescaped += text.substr(0, plain);
        if (plain == std::string_view::npos) break;
        text.remove_prefix(plain + 1);
        if (text.empty()) return "extraneous backslash in string: ";
        char const letter = text.front();
        text.remove_prefix(1);
        if (letter != 'x') {
            unescaped += control_character(letter);
            continue;
        }
        if (text.size() < 2) return "extraneous \\x in string: ";
        int const high = get_hex(text[0]);
        int const low = get_hex(text[1]);
        if (high < 0 || low < 0) return "invalid \\x string, should be two hex characters: ";
        unescaped += static_cast<char>(high * 16 + low);
        text.remove_prefix(2);
    }
    return {};
}
