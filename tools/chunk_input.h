/// Chunks, each behind its 8-byte header, out of an input.
#pragma once

#include <tmsg/tmsg.h>

#include <cstddef>

#include "input.h"

/// The bytes that are read at a time.
constexpr std::size_t input_block = 1 << 16;

class Chunk_input {
public:
    using Step = Tm_chunk_reader::Step;

    explicit Chunk_input(Input& input) : input_(input) {}

    /// Steps are those of the reader, which tells more of each; need_input says that the input has
    /// ended. Throws Failure when it ends within a chunk, and what reading throws.
    Step next();
    /// Nothing follows what was read.
    bool is_at_end() { return left_ == 0 && !read_block(); }
    Tm_chunk_reader const& reader() const { return reader_; }

private:
    bool read_block();

    Input& input_;
    Tm_chunk_reader reader_;
    unsigned char block_[input_block];
    unsigned char const* data_ = nullptr;  ///< what is left of the block
    std::size_t left_ = 0;
};
