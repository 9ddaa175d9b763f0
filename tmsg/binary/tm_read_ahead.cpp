#include "tmsg/binary/tm_read_ahead.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

/// Twice as much gains nothing.
constexpr std::size_t usual_size = 1 << 17;

}  // namespace

long Tm_read_ahead::read(void* to, unsigned int length) {
    if (bytes_.size() < length) bytes_.resize(std::max<std::size_t>(length, usual_size));
    while (last_ - first_ < length) {
        long const got = fill();
        if (got <= 0) return got;
    }
    if (length > 0) std::memcpy(to, bytes_.data() + first_, length);
    first_ += length;
    return static_cast<long>(length);
}

/// Reads once, as much as there is room for. Returns what the system did.
long Tm_read_ahead::fill() {
    std::memmove(bytes_.data(), bytes_.data() + first_, last_ - first_);
    last_ -= first_;
    first_ = 0;
    while (true) {
        ssize_t const got = ::pread(fd_, bytes_.data() + last_, bytes_.size() - last_, position_);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return got;
        last_ += static_cast<std::size_t>(got);
        position_ += got;
        return got;
    }
}
