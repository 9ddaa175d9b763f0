/// Memory for large sequences of bytes. To get it from the system in pages of the usual size takes
/// longer than to copy the bytes into it; large pages take a fraction of that.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>

/// Reserves room in a vector or string, as large pages where there is much of it.
template <class Bytes>
void tm_reserve_bulk(Bytes& bytes, std::size_t room) {
    // So much that a large page of which little is used does not matter.
    constexpr std::size_t bulk = 1 << 23;
    constexpr std::uintptr_t usual_page = 4096;
    static_assert(sizeof bytes[0] == 1);
    bytes.reserve(room);
    if (room < bulk) return;
    auto const place = reinterpret_cast<std::uintptr_t>(bytes.data()) % usual_page;
    std::size_t const skipped = (usual_page - place) % usual_page;
    // Advice alone: nothing else changes where the system has no large pages.
    ::madvise(bytes.data() + skipped, room - skipped, MADV_HUGEPAGE);
}
