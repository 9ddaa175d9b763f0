/// Sends messages in chunks:
///
///     Tm_chunk_sender sender(4096);
///     sender.send(message, seq_no, port, [&](unsigned char const* chunk, std::size_t size) {
///         return write_all(connection, chunk, size);
///     });
///
/// A chunk is header and payload in one piece, ready for a socket. One sender sends any number of
/// messages, one after another, also after an exception. Its buffer has the size of one chunk.
/// For a socket that does not block, use Tm_chunk_source.
#pragma once

#include <cstddef>
#include <functional>

#include "tmsg/export.h"
#include "tmsg/transport/tm_chunk_source.h"

class TMSG_API Tm_chunk_sender {
public:
    /// Takes one chunk, which is valid during the call. Returns false to stop the message.
    using Sink = std::function<bool(unsigned char const* chunk, std::size_t size)>;

    /// The form in which the names of the body's members are sent.
    enum class Names {
        /// The form that the message has. If its name table or a wire index is wrong, because it
        /// was changed, the sender sends a corrected copy, as Tm_chunk_source does.
        as_built,
        /// By index. The sender indexes a copy of the message and sends the copy. When the copy
        /// cannot be indexed, it is sent as with as_built. Copying opens the files of the message
        /// again,
        /// and empties a file that was opened for writing.
        by_index
    };

    /// `chunk_size` is the number of payload bytes of a chunk, 1 to 1,048,575. Throws
    /// Tm_out_of_range_exception for other sizes.
    explicit Tm_chunk_sender(int chunk_size);
    ~Tm_chunk_sender();

    /// Passes the chunks of the message to the sink. Every chunk but the last has exactly
    /// `chunk_size` payload bytes. `seq_no` distinguishes the unfinished messages of a connection;
    /// above Tm_header::MAX_SEQ_NO, only its low bits are sent. `tmport` is sent in each header.
    /// Returns false when the sink returned false.
    /// Before the first chunk, throws Tm_out_of_range_exception for a method or member name longer
    /// than 65,535 bytes. Throws Tm_file_read_exception when a file cannot be read or has become
    /// shorter, and what the sink throws. Where the message is copied, copying can throw, too.
    bool send(Message const& message, unsigned int seq_no, unsigned char tmport, Sink const& sink,
              Names names = Names::as_built);

private:
    bool send_as_it_is(Message const& message, Sink const& sink, unsigned int seq_no,
                       unsigned char tmport);

    Tm_chunk_source source_;
};
