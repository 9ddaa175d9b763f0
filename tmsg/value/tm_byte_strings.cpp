#include "tmsg/value/tm_byte_strings.h"

#include <cstdlib>
#include <cstring>

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
