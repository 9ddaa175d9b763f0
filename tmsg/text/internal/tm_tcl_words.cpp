#include "tmsg/text/internal/tm_tcl_words.h"

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <system_error>
#include <type_traits>

#include "tmsg/value/tm_utils.h"

namespace {

bool is_negative(std::string_view token) { return !token.empty() && token.front() == '-'; }

/// Reads a token that is a plain number and nothing else: digits, for a double also a point and an
/// exponent.
template <class Number>
bool parse_plain(std::string_view token, Number& number) {
    char const* const end = token.data() + token.size();
    auto const [stop, error] = std::from_chars(token.data(), end, number);
    return stop == end && error == std::errc();
}

/// Does the same, but faster when the digits are too few to overflow.
bool parse_plain(std::string_view token, long& number) {
    constexpr std::size_t safe_digits = 18;
    bool const negative = is_negative(token);
    std::string_view const digits = token.substr(negative ? 1 : 0);
    if (digits.empty()) return false;
    if (digits.size() > safe_digits) return parse_plain<long>(token, number);
    long value = 0;
    for (char const c : digits) {
        if (c < '0' || c > '9') return false;
        value = 10 * value + (c - '0');
    }
    number = negative ? -value : value;
    return true;
}

/// Reads as scanf does with "%lu%c" when it finds one item: a negative number wraps around, and a
/// number that is too large becomes the largest one.
bool parse_unsigned(std::string_view token, unsigned long& number) {
    std::string const text(token);
    char* stop = nullptr;
    number = std::strtoul(text.c_str(), &stop, 10);
    return stop != text.c_str() && stop == text.c_str() + text.size();
}

template <class Narrow>
bool parse_narrow(std::string_view token, Narrow& number) {
    using Limits = std::numeric_limits<Narrow>;
    long plain = 0;
    unsigned long wide = 0;
    if (!parse_plain(token, plain)) {
        if (!parse_unsigned(token, wide)) return false;
        plain = static_cast<long>(wide);
        bool const has_wrapped = (plain < 0) != is_negative(token);
        if (plain != 0 && has_wrapped) return false;
    }
    number = static_cast<Narrow>(plain);
    return plain >= Limits::min() && plain <= Limits::max();
}

/// Takes the result 0 only for a token that begins with the digit 0.
template <class Wide>
bool parse_wide(std::string_view token, Wide& number, Wide (*convert)(char const*)) {
    if (parse_plain(token, number) && number != 0) return true;
    number = convert(std::string(token).c_str());
    return number != 0 || (!token.empty() && token.front() == '0');
}

/// Sets the C locale for the calling thread while it lives.
class C_locale {
public:
    C_locale() : before_(::uselocale(c_locale())) {}
    ~C_locale() { ::uselocale(before_); }
    C_locale(C_locale const&) = delete;
    C_locale& operator=(C_locale const&) = delete;

private:
    static locale_t c_locale() {
        static locale_t const made = ::newlocale(LC_ALL_MASK, "C", locale_t());
        return made;
    }

    locale_t before_;
};

}  // namespace

// clang-format off
bool tm_parse_number(std::string_view token, signed char& number) { return parse_narrow(token, number); }
bool tm_parse_number(std::string_view token, unsigned char& number) { return parse_narrow(token, number); }
bool tm_parse_number(std::string_view token, short& number) { return parse_narrow(token, number); }
bool tm_parse_number(std::string_view token, unsigned short& number) { return parse_narrow(token, number); }
bool tm_parse_number(std::string_view token, int& number) { return parse_narrow(token, number); }
bool tm_parse_number(std::string_view token, unsigned int& number) { return parse_narrow(token, number); }
bool tm_parse_number(std::string_view token, long& number) { return parse_wide(token, number, string_to_int64); }
// clang-format on

bool tm_parse_number(std::string_view token, unsigned long& number) {
    return !is_negative(token) && parse_wide(token, number, string_to_uint64);
}

/// Reads only plain numbers itself, and leaves all others (signs, infinities, hexadecimal,
/// overflow) to scanf.
bool tm_parse_number(std::string_view token, double& number) {
    std::size_t const sign = is_negative(token) ? 1 : 0;
    bool const begins_plainly = token.size() > sign && token[sign] >= '0' && token[sign] <= '9';
    if (begins_plainly && parse_plain(token, number)) return true;
    std::string const text(token);
    char extra = 0;
    C_locale const locale;
    if (text.find('\0') != std::string::npos) return false;
    // NOLINTNEXTLINE(cert-err34-c): the format of list text is that of scanf.
    return std::sscanf(text.c_str(), "%lg%c", &number, &extra) == 1;
}

namespace {

/// Returns -1 for a character that is no hexadecimal digit.
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

/// The room of `text` suffices, because no escape gets longer.
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
