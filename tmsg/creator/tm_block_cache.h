/// Memory for objects that come and go many times a message: freed blocks are kept, a few per
/// thread, and handed out again.
#pragma once

#include <cstddef>

/// A block of at least `size` bytes, from this thread's cache when one is there.
void* tm_take_block(std::size_t size);

/// `size` as it was asked for; the block may come from another thread.
void tm_give_block(void* block, std::size_t size) noexcept;
