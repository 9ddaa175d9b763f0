/// An announced length is only a promise: memory is reserved for what has arrived, never for what
/// is said to come.
#pragma once

#include <algorithm>
#include <cstddef>

/// Appends `length` bytes to a buffer that shall hold `announced` of them in the end.
template <class Buffer>
void tm_append_announced(Buffer& buffer, char const* data, std::size_t length,
                         std::size_t announced) {
    constexpr std::size_t reserved_on_promise = 4096;
    std::size_t const needed = buffer.size() + length;
    if (needed > buffer.capacity()) {
        std::size_t const room = std::max({reserved_on_promise, needed, buffer.capacity() * 2});
        buffer.reserve(std::max(needed, std::min(room, announced)));
    }
    buffer.insert(buffer.end(), data, data + length);
}
