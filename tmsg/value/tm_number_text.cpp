#include "tmsg/value/tm_number_text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tmsg/value/tm_decimal.h"

/// Objects of a thread have no destructor here: a destructor that is still to run at the thread's
/// end would keep the library in the process after dlclose().
namespace {

template <class Number, std::size_t Size>
char const* write_number(Number value, char (&buffer)[Size]) {
    Tm_decimal const text(value);
    buffer[std::string_view(text).copy(buffer, Size - 1)] = '\0';
    return buffer;
}

}  // namespace

unsigned int string_to_uint32(char const* text) {
    return static_cast<unsigned int>(std::strtoul(text, nullptr, 10));
}

long string_to_int64(char const* text) { return std::strtoll(text, nullptr, 10); }

unsigned long string_to_uint64(char const* text) { return std::strtoull(text, nullptr, 10); }

uint96_t string_to_uint96(char const* text) {
    char const* const colon = std::strchr(text, ':');
    if (colon == nullptr) return {0, 0};
    return {string_to_uint64(colon + 1), string_to_uint32(std::string(text, colon).c_str())};
}

char const* uint32_to_string(unsigned int const& value) {
    static thread_local char buffer[16];
    return write_number(value, buffer);
}

char const* int64_to_string(long const& value) {
    static thread_local char buffer[32];
    return write_number(value, buffer);
}

char const* uint64_to_string(unsigned long const& value) {
    static thread_local char buffer[32];
    return write_number(value, buffer);
}

char const* uint96_to_string(uint96_t const& value) {
    static thread_local char buffer[48];
    std::snprintf(buffer, sizeof buffer, "%s:%s", uint32_to_string(value.high),
                  uint64_to_string(value.low));
    return buffer;
}
