/// Puts together whole messages from the chunks of many connections:
///
///     Tm_chunk_receiver receiver(
///         [](std::unique_ptr<Message> message, int originator, Tm_header const&) {
///             use(originator, *message);
///         },
///         [](int, unsigned int, std::string const& text) { report(text); });
///     while (std::size_t const size = read_some(data)) receiver.receive(connection, data, size);
///     receiver.finish(connection);  // or forget(), which reports nothing
///
/// An originator is any number that distinguishes the connections. Pass the bytes of a stream in
/// pieces of any size. One connection may carry chunks of several messages in turn.
/// When a message has an error, the receiver reports it and removes the files of that message. It
/// goes on with all other messages.
/// Only one thread at a time may use a receiver.
///
/// Handlers may call forget() and finish(), but must not call receive() for the same originator. An
/// exception of a handler passes through receive() after the rest of the input has been read. When
/// several handlers throw, the first exception passes. std::bad_alloc passes in the same way, and
/// the receiver drops the message that needed the memory. Only at the first input of an originator,
/// std::bad_alloc may pass before the input is read.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "tmsg/export.h"
#include "tmsg/fwd.h"
#include "tmsg/message/chunks/message_chunk_container.h"
#include "tmsg/message/tm_header.h"
#include "tmsg/value/tm_limits.h"

class TMSG_API Tm_chunk_receiver {
public:
    /// Gets a complete message and owns it. `last_chunk` is the header of its last chunk, as in
    /// Message::header.
    using Message_handler = std::function<void(std::unique_ptr<Message> message, int originator,
                                               Tm_header const& last_chunk)>;
    /// Gets the error text of a message that cannot be decoded, is incomplete, is beyond a limit,
    /// or was dropped because it got no more data. Also gets the error text of a chunk that
    /// continues no known message.
    using Error_handler =
        std::function<void(int originator, unsigned int seq_no, std::string const& text)>;

    /// Without a message handler (nullptr), the receiver drops complete messages, whose files stay.
    /// Without an error handler, it reports no errors.
    Tm_chunk_receiver(Message_handler on_message, Error_handler on_error,
                      Tm_limits const& limits = {});
    Tm_chunk_receiver(Tm_chunk_receiver const&) = delete;
    Tm_chunk_receiver& operator=(Tm_chunk_receiver const&) = delete;
    ~Tm_chunk_receiver();

    /// Reads the next bytes of the stream of a connection and calls the handlers. A stream is a
    /// sequence of chunks. Each chunk is its 8-byte header, then its payload. `data` must be valid
    /// during the call only.
    void receive(int originator, unsigned char const* data, std::size_t size);

    /// Drops the unfinished messages of a closed connection, and removes their files. Reports
    /// nothing.
    void forget(int originator);

    /// Does the same at the end of a stream, but reports each unfinished message, in the order of
    /// the sequence numbers. Then reports a header of which the last bytes are missing, with the
    /// sequence number 0. When a handler throws, does not report the rest. When there is no memory,
    /// throws std::bad_alloc and forgets nothing.
    void finish(int originator);

    /// Drops and reports each unfinished message that got no data during the last 20 calls. When a
    /// handler throws, drops the other messages too, but does not report them.
    void collect_garbage();

private:
    struct Connection;
    struct Outcome;
    /// Deletes a message that will not be finished, and removes the files that it brought.
    struct Remove_with_files {
        void operator()(MessageChunk* message) const;
    };
    using Unfinished = std::unique_ptr<MessageChunk, Remove_with_files>;

    std::shared_ptr<Connection> connection_of(int originator);
    bool take_step(Connection& connection, unsigned char const*& data, std::size_t& size,
                   Outcome& outcome);
    void hand_out(Connection const& connection, Outcome& outcome) const;
    void begin_chunk(Connection& connection, Outcome& outcome);
    std::string break_off(Connection& connection);
    void begin_message(Connection& connection);
    void add_payload(Connection& connection, Outcome& outcome);
    bool add_what_fits(Connection& connection, MessageChunk& message) const;
    void ignore_rest(Connection& connection) const;
    void end_chunk(Connection& connection, Outcome& outcome);
    MessageChunk* message_of(Connection const& connection);
    Unfinished take_message(Connection& connection);
    static std::string text_of_unfinished(MessageChunk& message);

    Message_handler on_message_;
    Error_handler on_error_;
    Tm_limits limits_;
    std::map<int, std::shared_ptr<Connection>> connections_;
    MessageChunkContainer messages_;  ///< the unfinished messages of all originators
};
