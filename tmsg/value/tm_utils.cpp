#include "tmsg/value/tm_utils.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tmsg/value/tm_decimal.h"
#include "tmsg/value/tm_exception.h"

/// Thread-local objects here have no destructor: one that must run at the end of a thread would
/// keep the library in the process after dlclose().
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

namespace {

constexpr unsigned int space_around_string = 9;
constexpr unsigned int space_around_binary = 16;

void copy_bytes(tm_binary_cstruct& target, unsigned int size, unsigned char const* data) {
    target.size = size;
    target.data = static_cast<unsigned char*>(std::malloc(size));
    if (target.data != nullptr && size > 0) std::memcpy(target.data, data, size);
}

}  // namespace

unsigned int tms_string_space_needed(std::vector<std::string> const& strings) {
    std::size_t sum = 0;
    for (std::string const& text : strings) sum += text.size() + space_around_string;
    return static_cast<unsigned int>(sum);
}

unsigned int tms_string_space_needed(unsigned int count, char const* const* strings) {
    std::size_t sum = 0;
    for (unsigned int i = 0; i < count; ++i) sum += std::strlen(strings[i]) + space_around_string;
    return static_cast<unsigned int>(sum);
}

unsigned int tms_binary_space_needed(std::vector<Tm_binary> const& items) {
    unsigned int sum = 0;
    for (Tm_binary const& item : items) sum += item.get_buffer_size() + space_around_binary;
    return sum;
}

unsigned int tms_binary_space_needed(unsigned int count, tm_binary_cstruct const* items) {
    unsigned int sum = 0;
    for (unsigned int i = 0; i < count; ++i) sum += items[i].size + space_around_binary;
    return sum;
}

void tms_binary_copy(tm_binary_cstruct& target, tm_binary_cstruct const* source) {
    copy_bytes(target, source->size, source->data);
}

void tms_binary_copy(tm_binary_cstruct& target, Tm_binary const* source) {
    copy_bytes(target, source->get_buffer_size(), source->get_buffer());
}

namespace {

constexpr std::uint32_t undetermined = 0xFFFFFFFF;

std::uint32_t determine() {
    std::uint16_t const probe = 1;
    unsigned char first = 0;
    std::memcpy(&first, &probe, 1);
    return first == 1 ? 0 : 1;
}

}  // namespace

std::atomic<std::uint32_t> big_endian_cache{undetermined};

bool is_big_endian() {
    std::uint32_t known = big_endian_cache.load(std::memory_order_relaxed);
    if (known == undetermined) {
        known = determine();
        big_endian_cache.store(known, std::memory_order_relaxed);
    }
    return known != 0;
}

void htond(double& value) {
    if (is_big_endian()) return;
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    bits = __builtin_bswap64(bits);
    std::memcpy(&value, &bits, sizeof bits);
}

void ntohd(double& value) { htond(value); }

char const* tms_enum_to_string(int value, tm_enum_map const* table) {
    for (tm_enum_map const* at = table; at->name != nullptr; ++at) {
        if (at->value == value) return at->name;
    }
    throw Tm_enum_not_found_exception(value, table->name);
}

int tms_string_to_enum(char const* name, tm_enum_map const* table) {
    for (tm_enum_map const* at = table; at->name != nullptr; ++at) {
        if (std::strcmp(at->name, name) == 0) return at->value;
    }
    throw Tm_enum_not_found_exception(name, table->name);
}
