/// Memory for large sequences of bytes. Getting it from the system in pages of the usual size takes
/// longer than copying the bytes into it. Large pages take a fraction of that time.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>

/// Reserves room in a vector or string, as large pages where there is much of it.
template <class Bytes>
void tm_reserve_bulk(Bytes& bytes, std::size_t room) {
    // From this size on, a large page that is used in part does not matter.
    constexpr std::size_t bulk = 1 << 23;
    constexpr std::uintptr_t usual_page = 4096;
    static_assert(sizeof bytes[0] == 1);
    bytes.reserve(room);
    if (room < bulk) return;
    auto const place = reinterpret_cast<std::uintptr_t>(bytes.data()) % usual_page;
    std::size_t const skipped = (usual_page - place) % usual_page;
    // This is advice: it fails without harm where the system has no large pages.
    ::madvise(bytes.data() + skipped, room - skipped, MADV_HUGEPAGE);
}
