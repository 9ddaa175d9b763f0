/// Bytes of many connections in, whole messages out. An originator is any number that tells the
/// connections apart. Their streams may be cut anywhere and the messages of each interleaved; what
/// goes wrong with one message is reported and leaves all others alone; the files that it brought
/// are removed. One thread at a time.
///
/// Handlers may call forget(), but not receive() for the same originator. What a handler throws
/// passes through receive() after the rest of the input has been read; when several throw, the
/// first exception passes. So does std::bad_alloc, which drops the message that it met; the very
/// first input of an originator may then not have been read.
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
    /// Takes a finished message over; the header is that of its last chunk, as in Message::header.
    using Message_handler = std::function<void(std::unique_ptr<Message> message, int originator,
                                               Tm_header const& last_chunk)>;
    /// A message that failed to decode or is incomplete, with the decoder's text; a chunk that
    /// continues no known message; a message that was dropped for getting no more data.
    using Error_handler =
        std::function<void(int originator, unsigned int seq_no, std::string const& text)>;

    /// An empty handler ignores what it would be told; files of ignored messages stay. The limits
    /// hold for each message and for each originator.
    Tm_chunk_receiver(Message_handler on_message, Error_handler on_error,
                      Tm_limits const& limits = {});
    Tm_chunk_receiver(Tm_chunk_receiver const&) = delete;
    Tm_chunk_receiver& operator=(Tm_chunk_receiver const&) = delete;
    ~Tm_chunk_receiver();

    /// The next bytes of a connection's stream of chunks, each behind its 8-byte header.
    void receive(int originator, unsigned char const* data, std::size_t size);

    /// Drops all that a closed connection left, without a report.
    void forget(int originator);

    /// Ages every unfinished message and drops those that got no data since the 20th call back. A
    /// handler that throws here ends the reports, not the ageing.
    void collect_garbage();

private:
    struct Connection;
    struct Outcome;
    /// A message that is given up takes the files received for it along.
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
    MessageChunkContainer messages_;  ///< the unfinished ones of all originators
};
