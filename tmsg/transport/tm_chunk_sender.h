/// Sends messages in chunks: header and payload in one piece each, ready for a socket. One sender
/// serves any number of messages, one after another, with one buffer of a chunk's size.
#pragma once

#include <cstddef>
#include <functional>

#include "tmsg/export.h"
#include "tmsg/value/tm_owners.h"

class Message;
class Tm_bin_encoder;

class TMSG_API Tm_chunk_sender {
public:
    /// Takes one chunk, which is valid during the call. False stops the message.
    using Sink = std::function<bool(unsigned char const* chunk, std::size_t size)>;

    /// How the names of the body's members travel.
    enum class Names {
        as_built,  ///< as the message has it
        /// By index: an indexed copy of the message is sent, as far as it can be indexed. Copying
        /// opens the message's files again, and empties one that was opened for writing.
        by_index
    };

    /// Payload bytes of a chunk, 1 to 1,048,575; else Tm_out_of_range_exception.
    explicit Tm_chunk_sender(int chunk_size);
    ~Tm_chunk_sender();

    /// Every chunk but the last carries exactly the chunk size. A sequence number above
    /// Tm_header::MAX_SEQ_NO is cut to its low bits. False: the sink has stopped the message.
    /// Throws, before the first chunk, Tm_out_of_range_exception for a method or member name over
    /// 65,535 bytes; Tm_file_read_exception when a file cannot be read or has become shorter; with
    /// by_index also what copying the message throws.
    bool send(Message const& message, unsigned int seq_no, unsigned char tmport, Sink const& sink,
              Names names = Names::as_built);

private:
    bool send_as_it_is(Message const& message, Sink const& sink, unsigned int seq_no,
                       unsigned char tmport);

    Tm_owned<Tm_bin_encoder> encoder_;
};
