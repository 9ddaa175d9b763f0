/// Limits for received input. Like all bad input, input beyond a limit is refused with an error
/// text.
/// For input of values outside of messages, "message" means one top-level value.
/// SECURITY.md names the attack that each limit stops, and its error text.
#pragma once

#include <limits>

/// The most bytes of a text that has no limit.
constexpr unsigned long tm_no_text_limit = std::numeric_limits<unsigned long>::max();

struct Tm_limits {
    /// The most structs, arrays and messages that are open at a time.
    unsigned int max_depth = 1000;
    /// The most bytes of one message in the wire form, or of a whole text.
    unsigned long max_message_bytes = 0x7FFFFFFF;
    /// The most bytes of one file value, counted by its announced length.
    unsigned long max_file_bytes = 0xFFFFFFFF;
    /// The most file values of one message. Each takes a file descriptor.
    unsigned int max_files = 256;
    /// The most values of one message.
    unsigned long max_values = 16'000'000;
    /// The most bytes that the values of one message take in memory as they arrive. The count is
    /// right within a tenth.
    unsigned long max_memory = 1UL << 32;
    /// The most unfinished messages of one originator.
    unsigned int max_unfinished = 1024;
    /// The most bytes that all unfinished messages of one originator hold, without file contents.
    unsigned long max_held_bytes = 1UL << 30;
};
