/// Decodes a copy of the stream of one direction of a connection.
#pragma once

#include <tmsg/tmsg.h>

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>

/// Decodes the messages of a stream of chunks that other programs exchange, and finds damage. It
/// decodes no more of a stream that does not consist of chunks.
class Stream_watch {
public:
    /// Gets a message and the number of its bytes in the stream, headers included. The handler must
    /// remove the files that it brought.
    using On_message = std::function<void(std::unique_ptr<Message> message, std::size_t bytes)>;
    /// Gets the offset of the chunk in which the damage of a message was found.
    using On_damage =
        std::function<void(std::size_t offset, unsigned int seq_no, std::string const& text)>;
    /// Gets the offset of the first chunk that belongs to no message. Nothing behind it is decoded.
    using On_blind = std::function<void(std::size_t offset, std::string const& text)>;

    Stream_watch(On_message on_message, On_damage on_damage, On_blind on_blind,
                 Tm_limits const& limits);

    /// Takes the next bytes. Throws what the handlers throw, except std::bad_alloc, which is
    /// damage.
    void add(unsigned char const* data, std::size_t size);
    /// Reports the messages that the end of the stream leaves unfinished.
    void finish();

private:
    void begin_chunk();
    void decode(unsigned char const* data, std::size_t size);
    void take(std::unique_ptr<Message> message, Tm_header const& header);
    void take_error(unsigned int seq_no, std::string const& text);

    On_message on_message_;
    On_damage on_damage_;
    On_blind on_blind_;
    std::size_t most_unfinished_;
    Tm_chunk_reader reader_;
    Tm_chunk_receiver receiver_;
    std::map<unsigned int, std::size_t> bytes_;  ///< of each unfinished message
    bool is_stray_ = false;  ///< the chunk does not begin a message and continues no counted one
    bool is_blind_ = false;
};
