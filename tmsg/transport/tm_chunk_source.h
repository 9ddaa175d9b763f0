/// Gives the chunks of one message, one at a time, when the caller has room for the next one. So a
/// socket that does not block can send a message of any size. Files in the message take no memory:
///
///     Tm_chunk_source source(message, seq_no, port, 4096);
///     while (has_room(socket) && source.next(chunk, size)) write_all(socket, chunk, size);
///
/// A chunk is header and payload in one piece. The memory of a source is one chunk.
/// tm_to_chunks() returns all chunks of a message at once.
#pragma once

#include <cstddef>
#include <string>

#include "tmsg/export.h"
#include "tmsg/fwd.h"
#include "tmsg/message/tm_header.h"
#include "tmsg/value/tm_owners.h"

class Tm_bin_encoder;

class TMSG_API Tm_chunk_source {
public:
    /// The message must not change before the last chunk. `seq_no`, `tmport` and `chunk_size` are
    /// those of Tm_chunk_sender. Throws Tm_out_of_range_exception for a chunk size below 1 or above
    /// 1,048,575, and for a method or member name longer than 65,535 bytes.
    /// If the name table of the message or a wire index is wrong, the source owns a corrected copy
    /// and sends that: indexed anew, or with names and without the table where indexing is not
    /// possible. Copying can throw.
    Tm_chunk_source(Message const& message, unsigned int seq_no, unsigned char tmport,
                    int chunk_size);
    Tm_chunk_source(Tm_chunk_source const&) = delete;
    Tm_chunk_source& operator=(Tm_chunk_source const&) = delete;
    ~Tm_chunk_source();

    /// Sets `chunk` and `size` to the next chunk, which is valid until the next call, and returns
    /// true. Returns false when there are no more chunks.
    /// Throws Tm_file_read_exception when a file cannot be read or has become shorter. The message
    /// has no more chunks then.
    bool next(unsigned char const*& chunk, std::size_t& size);

private:
    friend class Tm_chunk_sender;

    /// Makes a source without a message.
    explicit Tm_chunk_source(int chunk_size);
    void begin(Message const& message, unsigned int seq_no, unsigned char tmport);
    void end() noexcept;
    std::size_t fill_chunk();

    Tm_owned<Tm_bin_encoder> encoder_;
    Tm_owned<Message> corrected_;       ///< null when the message of the caller is sent
    Message const* message_ = nullptr;  ///< null after the end
    Tm_header header_;                  ///< of the last chunk that was filled
    bool is_begun_ = false;             ///< a chunk was filled
    bool is_walked_ = false;            ///< the encoder has got all of the message
};

/// Returns all chunks of the message, one after another, with the port 0. Throws what
/// Tm_chunk_source throws.
TMSG_API std::string tm_to_chunks(Message const& message, unsigned int seq_no, int chunk_size);
