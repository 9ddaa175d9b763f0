/// Chunks, each behind its 8-byte header, out of a stream of bytes.
#pragma once

#include <tmsg/tmsg.h>

#include <algorithm>
#include <cstddef>
#include <string>

#include "failure.h"
#include "input.h"

/// The bytes that are read at a time.
constexpr std::size_t input_block = 1 << 16;

struct Chunk {
    std::size_t offset = 0;  ///< of its header, in the input
    Tm_header header;
};

/// The next header; the payload is still in the input then. False: the input ends. Throws Failure
/// when it ends within the header.
inline bool read_chunk_header(Input& input, Chunk& chunk) {
    chunk.offset = input.offset();
    TM_HEADER record = {};
    std::size_t const got = input.read_fully(&record, sizeof record);
    chunk.header = record;
    if (got > 0 && got < sizeof record) {
        throw Failure("input ends within the header of the chunk at byte " +
                      std::to_string(chunk.offset));
    }
    return got > 0;
}

/// Passes the payload on, in pieces: `use(data, size)`. Throws Failure when the input ends within
/// it, after all that is there was passed on.
template <class Use>
void read_chunk_payload(Input& input, Chunk const& chunk, Use use) {
    unsigned char block[input_block];
    for (std::size_t left = chunk.header.get_length(); left > 0;) {
        std::size_t const got = input.read(block, std::min(left, sizeof block));
        if (got == 0)
            throw Failure("input ends within the chunk at byte " + std::to_string(chunk.offset));
        use(block, got);
        left -= got;
    }
}
