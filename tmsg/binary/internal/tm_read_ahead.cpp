#include "tmsg/binary/internal/tm_read_ahead.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "tmsg/value/internal/tm_descriptor.h"

namespace {

/// The bytes to read ahead. Twice as many are not faster.
constexpr std::size_t usual_size = 1 << 17;
/// This many bytes or more are read straight into the memory of the caller.
constexpr std::size_t direct_size = 1 << 15;

}  // namespace

long Tm_read_ahead::read(void* to, unsigned int length) {
    if (length >= direct_size) return read_directly(static_cast<char*>(to), length);
    if (bytes_.size() < length) bytes_.resize(std::max<std::size_t>(length, usual_size));
    while (last_ - first_ < length) {
        long const got = fill();
        if (got <= 0) return got;
    }
    if (length > 0) std::memcpy(to, bytes_.data() + first_, length);
    first_ += length;
    return static_cast<long>(length);
}

/// Copies the bytes that were read ahead, and reads the others from the file.
long Tm_read_ahead::read_directly(char* to, std::size_t length) {
    std::size_t filled = std::min(last_ - first_, length);
    std::size_t const read_before = filled;
    if (filled > 0) std::memcpy(to, bytes_.data() + first_, filled);
    long position = position_;
    while (filled < length) {
        long const got = read_once(to + filled, length - filled, position);
        if (got <= 0) return got;
        filled += static_cast<std::size_t>(got);
        position += got;
    }
    first_ += read_before;
    position_ = position;
    return static_cast<long>(length);
}

/// Reads once, as much as there is room for. Returns what the system call returned.
long Tm_read_ahead::fill() {
    std::memmove(bytes_.data(), bytes_.data() + first_, last_ - first_);
    last_ -= first_;
    first_ = 0;
    long const got = read_once(bytes_.data() + last_, bytes_.size() - last_, position_);
    if (got <= 0) return got;
    last_ += static_cast<std::size_t>(got);
    position_ += got;
    return got;
}

long Tm_read_ahead::read_once(char* to, std::size_t size, long position) const {
    return tm_uninterrupted([&] { return ::pread(fd_, to, size, position); });
}
