#include "tmsg/value/tm_chunk_buffer.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "tmsg/value/internal/tm_bulk.h"
#include "tmsg/value/tm_exception.h"

namespace {

/// The bytes of memory after the end of the chunk. They are enough for an item of the library. A
/// caller can write a larger item.
constexpr std::size_t slack = 128;

void check_at_least(char const* label, int value, int low) {
    int const high = std::numeric_limits<int>::max();
    if (value < low) throw Tm_out_of_range_exception(label, value, low, high);
}

}  // namespace

void Tm_chunk_buffer::init(int chunk_size, int header_size) {
    check_at_least("chunk size", chunk_size, 1);
    check_at_least("header size", header_size, 0);
    std::size_t const size =
        static_cast<std::size_t>(chunk_size) + static_cast<std::size_t>(header_size) + slack;
    tm_reserve_bulk(bytes_, size);
    bytes_.assign(size, 0);
    chunk_size_ = chunk_size;
    header_size_ = header_size;
    clear();
}

void Tm_chunk_buffer::set_fill(int bytes) {
    unsigned char* const first = bytes_.data() + header_size_;
    static_cast<Tm_wire_room&>(*this) = Tm_wire_room(first + bytes, first + chunk_size_);
}

bool Tm_chunk_buffer::next_chunk() {
    int const over = std::max(fill() - chunk_size_, 0);
    unsigned char* const first = bytes_.data() + header_size_;
    if (over > 0) std::memmove(first, first + chunk_size_, static_cast<std::size_t>(over));
    set_fill(over);
    return left() > 0;
}

void Tm_chunk_buffer::make_memory(std::size_t bytes) {
    if (bytes <= slack) return;
    int const filled = fill();
    std::size_t const needed = static_cast<std::size_t>(at() - bytes_.data()) + bytes;
    if (needed > bytes_.size()) bytes_.resize(needed);
    set_fill(filled);
}
