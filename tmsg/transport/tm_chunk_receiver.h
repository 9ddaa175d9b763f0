/// Puts together whole messages from the chunks of many connections. An originator is any number
/// that tells the connections apart. The streams may be cut anywhere, and the messages of one
/// connection may be interleaved. An error in one message is reported, removes the files that the
/// message brought, and does not change other messages. Only one thread at a time may use a
/// receiver.
///
/// Handlers may call forget(), but not receive() for the same originator. An exception of a handler
/// passes through receive() after the rest of the input has been read. When several handlers throw,
/// the first exception passes. std::bad_alloc passes in the same way and drops the message that
/// needed memory. The very first input of an originator may then be unread.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "tmsg/export.h"
#include "tmsg/message/chunks/message_chunk_container.h"
#include "tmsg/message/tm_header.h"
#include "tmsg/value/tm_limits.h"

class Message;

class TMSG_API Tm_chunk_receiver {
public:
    /// Takes a finished message over. `last_chunk` is the header of its last chunk, as in
    /// Message::header.
    using Message_handler = std::function<void(std::unique_ptr<Message> message, int originator,
                                               Tm_header const& last_chunk)>;
    /// Gets the error text of a message that failed to decode, is incomplete or was dropped because
    /// it got no more data, or of a chunk that continues no known message.
    using Error_handler =
        std::function<void(int originator, unsigned int seq_no, std::string const& text)>;

    /// With an empty handler the receiver drops messages or errors without a call. The files of
    /// messages dropped so stay. Each limit holds for each message or for each originator.
    Tm_chunk_receiver(Message_handler on_message, Error_handler on_error,
                      Tm_limits const& limits = {});
    Tm_chunk_receiver(Tm_chunk_receiver const&) = delete;
    Tm_chunk_receiver& operator=(Tm_chunk_receiver const&) = delete;
    ~Tm_chunk_receiver();

    /// Reads the next bytes of a connection's stream of chunks, each behind its 8-byte header.
    /// Calls the handlers. The bytes are not needed after the call.
    void receive(int originator, unsigned char const* data, std::size_t size);

    /// Drops the unfinished messages of a closed connection, with their files and without a report.
    void forget(int originator);

    /// Drops and reports each unfinished message that got no data during the last 20 calls. When a
    /// handler throws, the remaining messages are dropped too, but not reported.
    void collect_garbage();

private:
    struct Connection;
    struct Outcome;
    /// Deletes a message that is given up, together with the files received for it.
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

    Message_handler on_message_;
    Error_handler on_error_;
    Tm_limits limits_;
    std::map<int, std::shared_ptr<Connection>> connections_;
    MessageChunkContainer messages_;  ///< the unfinished messages of all originators
};
