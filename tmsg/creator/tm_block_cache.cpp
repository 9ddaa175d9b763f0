#include "tmsg/creator/tm_block_cache.h"

#include <new>

namespace {

/// Holds every state; a larger object goes past the cache.
constexpr std::size_t block_size = 256;
/// A state for each level of a deep message; more are freed.
constexpr int most_kept = 64;

struct Free_block {
    Free_block* next;
};

/// Trivial, so that it is usable until the thread is gone, whatever is destroyed last.
struct Cache {
    Free_block* first;
    int kept;
    bool closed;
};

thread_local Cache cache = {nullptr, 0, false};

/// Frees what the thread has kept when it ends.
struct Cache_closer {
    ~Cache_closer() {
        cache.closed = true;
        while (cache.first != nullptr) {
            Free_block* const block = cache.first;
            cache.first = block->next;
            ::operator delete(block);
        }
    }
    void watch() const {}
};

}  // namespace

void* tm_take_block(std::size_t size) {
    if (size > block_size) return ::operator new(size);
    Free_block* const block = cache.first;
    if (block == nullptr) return ::operator new(block_size);
    cache.first = block->next;
    --cache.kept;
    return block;
}

void tm_give_block(void* block, std::size_t size) noexcept {
    if (block == nullptr) return;
    if (size > block_size || cache.closed || cache.kept >= most_kept) {
        ::operator delete(block);
        return;
    }
    if (cache.kept == 0) {
        static thread_local Cache_closer const closer;
        closer.watch();
    }
    cache.first = new (block) Free_block{cache.first};
    ++cache.kept;
}
