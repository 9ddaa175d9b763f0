/// What received input may demand. Every limit is counted for each message, or each originator, and
/// starts anew with the next; what exceeds one is refused with an error text like all bad input.
#pragma once

#include <limits>

/// No limit on the length of a text; the usual one of text forms that take a limit.
constexpr unsigned long tm_no_text_limit = std::numeric_limits<unsigned long>::max();

struct Tm_limits {
    /// Open structs, arrays and messages. Trees are copied, compared, walked and destroyed by
    /// recursion: a deeper one could overflow the stack.
    unsigned int max_depth = 1000;
    /// Bytes of one message in the wire form, or of a list text: a sender that never ends would
    /// fill the memory. For the array decoder and the dump, bytes of each top-level value.
    unsigned long max_message_bytes = 0x7FFFFFFF;
    /// Announced bytes of one file value: a large one would fill the disk.
    unsigned long max_file_bytes = 0xFFFFFFFF;
    /// Files, values and bytes of memory of one message, or of one top-level value of an array: few
    /// bytes of input can take a descriptor each, or sixty times their number in memory. The memory
    /// counts what the values take while they arrive, within a tenth of the truth.
    unsigned int max_files = 256;
    unsigned long max_values = 16'000'000;
    unsigned long max_memory = 1UL << 32;
    /// Unfinished messages of one originator, each with a decoder: a header alone begins one, which
    /// takes about 1.5 KiB. What it leaves open takes up to 430 bytes for each level, and 64 KiB
    /// for a file too large to be mapped.
    unsigned int max_unfinished = 1024;
    /// Bytes of memory that the unfinished messages of one originator hold together: many that
    /// never end would fill it, each within its own limit. A message counts with the memory of its
    /// values or with its payload, the larger of the two. The content of received files is on the
    /// disk and does not count.
    unsigned long max_held_bytes = 1UL << 30;
};
