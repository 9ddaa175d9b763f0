/// Numbers that several threads count.
#pragma once

#include <atomic>
#include <cstdint>

using Tm_nats_number = std::atomic<std::uint64_t>;

inline void tm_nats_add(Tm_nats_number& number, std::uint64_t by = 1) {
    number.fetch_add(by, std::memory_order_relaxed);
}
