/// One connection's stream of chunks: cuts it at the headers and reassembles its messages. It
/// returns one outcome at a time, so that the caller may do anything with it, even drop the stream.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tmsg/message/chunks/message_chunk_container.h"
#include "tmsg/message/tm_header.h"

class Message;

/// A finished message, or what went wrong with one.
struct Tm_chunk_outcome {
    enum class Kind { none, message, error };

    Kind kind = Kind::none;
    unsigned int seq_no = 0;
    std::unique_ptr<Message> message;
    std::string error;
};

class Tm_chunk_stream {
public:
    Tm_chunk_stream(int originator, Tm_limits const& limits)
        : originator_(originator), limits_(limits) {}
    Tm_chunk_stream(Tm_chunk_stream const&) = delete;
    Tm_chunk_stream& operator=(Tm_chunk_stream const&) = delete;
    /// Drops all unfinished messages.
    ~Tm_chunk_stream();

    /// Reads input up to the first outcome, or all of it when there is none, and adds the number of
    /// bytes read to `used`. Call it again, without input too, until there is no outcome. When it
    /// throws std::bad_alloc, the message of the current chunk is dropped, and `used` still counts
    /// what was read.
    void read(unsigned char const* data, std::size_t size, std::size_t& used,
              Tm_chunk_outcome& outcome);

    /// Ages the unfinished messages and drops the idle ones, whose originator and sequence numbers
    /// it adds to `dropped`. Needs room there for all unfinished messages, and cannot fail then.
    void collect_garbage(std::vector<std::pair<int, unsigned int>>& dropped);
    std::size_t unfinished() const { return messages_.size(); }

private:
    /// A message that is given up takes the files received for it along.
    struct Remove_with_files {
        void operator()(MessageChunk* message) const;
    };
    using Unfinished = std::unique_ptr<MessageChunk, Remove_with_files>;

    std::size_t read_header(unsigned char const* data, std::size_t size);
    void begin_chunk(Tm_chunk_outcome& outcome);
    void begin_message(Tm_chunk_outcome& outcome);
    void add_payload(unsigned char const* data, std::size_t size, Tm_chunk_outcome& outcome);
    std::size_t add_what_fits(MessageChunk& message, unsigned char const* data, std::size_t size);
    void end_chunk(Tm_chunk_outcome& outcome);
    void refuse_message(std::string const& text, Tm_chunk_outcome& outcome);
    void drop_message();
    void ignore_rest();
    void report(std::string const& text, Tm_chunk_outcome& outcome) const;
    Unfinished take_message();

    int originator_;
    Tm_limits limits_;
    MessageChunkContainer messages_;
    std::size_t held_bytes_ = 0;  ///< of all unfinished messages together
    /// Failed messages whose further chunks are ignored, each with its idle countdown; as many as
    /// there may be unfinished ones.
    std::map<unsigned int, int> refused_;
    TM_HEADER header_bytes_ = {};
    std::size_t header_size_ = 0;  ///< header bytes read so far
    Tm_header header_;             ///< of the current chunk
    bool in_chunk_ = false;
    std::size_t payload_left_ = 0;
};
