/// Limits for received input. Each limit counts for one message, or for one originator, and starts
/// anew with the next. Input beyond a limit is refused with an error text, like all bad input.
#pragma once

#include <limits>

/// No limit on the length of a text, in bytes. It is the default of text forms that take a limit.
constexpr unsigned long tm_no_text_limit = std::numeric_limits<unsigned long>::max();

struct Tm_limits {
    /// The most structs, arrays and messages that are open at a time. Recursion copies, compares,
    /// walks and destroys trees, so a deeper tree could overflow the stack.
    unsigned int max_depth = 1000;
    /// The most bytes of one message in the wire form, or of one list text. For the array decoder
    /// and the dump, the most bytes of each top-level value. A sender that never ends would fill
    /// memory.
    unsigned long max_message_bytes = 0x7FFFFFFF;
    /// The most announced bytes of one file value. A large file would fill the disk.
    unsigned long max_file_bytes = 0xFFFFFFFF;
    /// The most file values of one message, or of one top-level value of an array. Each file takes
    /// a descriptor.
    unsigned int max_files = 256;
    /// The most values of one message, or of one top-level value of an array.
    unsigned long max_values = 16'000'000;
    /// The most bytes of memory that the values of one message, or one top-level value of an array,
    /// take while they arrive. The count is right within a tenth. Values can take sixty times as
    /// many bytes in memory as in the input.
    unsigned long max_memory = 1UL << 32;
    /// The most unfinished messages of one originator. A chunk header alone begins a message, whose
    /// decoder takes about 1.5 KiB. Each open level takes up to 430 bytes more, and a file above
    /// the mapping limit takes 64 KiB more.
    unsigned int max_unfinished = 1024;
    /// The most bytes that all unfinished messages of one originator hold together. A message
    /// counts with the memory of its values or with its payload bytes, whichever is larger. The
    /// content of received files is on the disk and does not count.
    unsigned long max_held_bytes = 1UL << 30;
};
