/// Waits for many connections at once, on one thread.
#pragma once

#include <poll.h>

#include <chrono>
#include <cstddef>
#include <vector>

/// The bytes that are read from a connection at a time.
inline constexpr std::size_t block_size = 1 << 16;
/// For a wait that a handle or a signal is to end.
inline constexpr std::chrono::hours long_time(1);

/// Waits until a handle is ready or the time is over. Returns false when SIGINT, SIGTERM or SIGHUP
/// has come, also before the call. Ignores handles below 0. Throws Failure.
bool wait_for(std::vector<pollfd>& handles, std::chrono::nanoseconds longest);

/// Returns how many connections the process may have at a time if each takes `each` descriptors: at
/// least 1, at most `most`. Raises the limit on descriptors as far as that is needed and allowed.
/// Throws Failure.
std::size_t count_places(std::size_t most, std::size_t each);

/// Returns whether errno says that the operation must be tried again later.
bool is_not_ready();
