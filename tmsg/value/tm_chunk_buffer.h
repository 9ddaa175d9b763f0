/// The buffer of an encoder that passes its output on in chunks of one size. The bytes after the
/// end of a full chunk begin the next chunk.
#pragma once

#include <cstddef>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/value/tm_wire.h"

class TMSG_API Tm_chunk_buffer : public Tm_wire_room {
public:
    /// Changes the sizes and empties the buffer. `header_size` is the number of bytes before the
    /// chunk. Throws Tm_out_of_range_exception for a chunk size below 1 or a header size below 0.
    /// When it throws, the buffer is as before.
    void init(int chunk_size, int header_size);
    void clear() { set_fill(0); }
    /// Begins the next chunk. Returns false when that one is full, too.
    bool next_chunk();
    /// Allocates memory for the next `bytes` bytes of output. They must begin before the end of the
    /// chunk, and may pass it.
    void make_memory(std::size_t bytes);

    unsigned char* header() { return bytes_.data(); }
    unsigned char const* data() const { return bytes_.data() + header_size_; }
    /// Returns the number of bytes of output, which may be greater than the chunk size.
    int fill() const { return static_cast<int>(at() - data()); }
    int chunk_size() const { return chunk_size_; }
    int header_size() const { return header_size_; }

private:
    void set_fill(int bytes);

    std::vector<unsigned char> bytes_;
    int chunk_size_ = 0;
    int header_size_ = 0;
};
