#include "tmsg/text/tm_tcl_quotes.h"

#include <algorithm>
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

bool tm_ends_in_escape(std::string_view text) {
    std::size_t const others = text.find_last_not_of('\\') + 1;
    return (text.size() - others) % 2 == 1;
}

/// What an escape gives is never longer than the escape.
std::string_view tm_unescape(std::string_view text, std::string& unescaped) {
    unescaped.resize(text.size());
    char* at = unescaped.data();
    while (!text.empty()) {
        std::size_t const plain = std::min(text.find('\\'), text.size());
        at += text.copy(at, plain);
        text.remove_prefix(plain);
        if (text.empty()) break;
        if (text.size() == 1) return "extraneous backslash in string: ";
        char const letter = text[1];
        text.remove_prefix(2);
        if (letter != 'x') {
            *at++ = control_character(letter);
            continue;
        }
        if (text.size() < 2) return "extraneous \\x in string: ";
        int const high = get_hex(text[0]);
        int const low = get_hex(text[1]);
        if (high < 0 || low < 0) return "invalid \\x string, should be two hex characters: ";
        *at++ = static_cast<char>(high * 16 + low);
        text.remove_prefix(2);
    }
    unescaped.resize(static_cast<std::size_t>(at - unescaped.data()));
    return {};
}
