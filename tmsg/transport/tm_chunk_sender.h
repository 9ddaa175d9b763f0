/// Sends messages in chunks. Each chunk is header and payload in one piece, ready for a socket. One
/// sender sends any number of messages, one after another, through one buffer of a chunk's size.
#pragma once

#include <cstddef>
#include <functional>

#include "tmsg/export.h"
#include "tmsg/value/tm_owners.h"

class Message;
class Tm_bin_encoder;

class TMSG_API Tm_chunk_sender {
public:
    /// Takes one chunk, which is valid during the call. Returns false to stop the message.
    using Sink = std::function<bool(unsigned char const* chunk, std::size_t size)>;

    /// The form in which the names of the body's members are sent.
    enum class Names {
        as_built,  ///< the form that the message has
        /// By index. A copy of the message is indexed and sent; a copy that cannot be indexed is
        /// sent as it is. Copying opens the message's files again, and empties a file that was
        /// opened for writing.
        by_index
    };

    /// `chunk_size` is the payload bytes of a chunk, 1 to 1,048,575. Throws
    /// Tm_out_of_range_exception for other sizes.
    explicit Tm_chunk_sender(int chunk_size);
    ~Tm_chunk_sender();

    /// Passes the chunks of the message to the sink. Every chunk but the last carries exactly the
    /// chunk size. A sequence number above Tm_header::MAX_SEQ_NO is cut to its low bits.
    /// Returns false when the sink returned false.
    /// Throws Tm_out_of_range_exception, before the first chunk, for a method or member name over
    /// 65,535 bytes. Throws Tm_file_read_exception when a file cannot be read or has become
    /// shorter. With by_index also throws what copying the message throws.
    bool send(Message const& message, unsigned int seq_no, unsigned char tmport, Sink const& sink,
              Names names = Names::as_built);

private:
    bool send_as_it_is(Message const& message, Sink const& sink, unsigned int seq_no,
                       unsigned char tmport);

    Tm_owned<Tm_bin_encoder> encoder_;
};
