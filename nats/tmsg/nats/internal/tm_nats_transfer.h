/// The two ends of a large message on its way.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tmsg/message/message.h"
#include "tmsg/nats/internal/tm_nats_link.h"
#include "tmsg/transport/tm_chunk_receiver.h"
#include "tmsg/transport/tm_chunk_sender.h"
#include "tmsg/transport/tm_chunk_source.h"

/// Sends one message, as far as the credits of the peer allow. Any thread may call it.
class Tm_nats_sending {
public:
    enum class Step {
        waits,     ///< for credit
        finished,  ///< the last chunk was sent
        failed     ///< the connection takes nothing, or close() was called
    };

    /// The message must live until close() or the end of this object. `reply` is where the peer
    /// sends its credits. Throws what Tm_chunk_source throws.
    Tm_nats_sending(Tm_nats_link& link, Message const& message, unsigned int seq_no,
                    std::size_t chunk_size, std::string reply);

    /// Sends chunks until `allowed` chunks, or all, have been sent since the first one. Throws what
    /// Tm_chunk_source::next() throws.
    Step send_to(std::string const& peer, std::uint32_t allowed);
    /// The message is not used any more when this returns.
    void close();

private:
    Tm_nats_link& link_;
    std::string const reply_;
    std::atomic<bool> is_closed_{false};
    std::mutex mutex_;  ///< for the members below
    std::optional<Tm_chunk_source> source_;
    std::uint32_t next_ = 0;
    bool is_finished_ = false;
};

/// Puts one message together. One thread at a time uses it.
class Tm_nats_receiving {
public:
    enum class Step {
        ignored,  ///< the chunk is out of place, or no chunk; the message goes on without it
        more,
        gap,  ///< a chunk before it is lost
        bad,  ///< see error()
        whole
    };

    /// `peer` is where credits go to.
    Tm_nats_receiving(std::string peer, unsigned int seq_no,
                      Tm_nats_transfer_options const& options);
    Tm_nats_receiving(Tm_nats_receiving const&) = delete;
    Tm_nats_receiving& operator=(Tm_nats_receiving const&) = delete;
    /// Removes the files of a message that nobody has taken.
    ~Tm_nats_receiving();

    /// Takes a chunk. Throws std::bad_alloc.
    Step take(std::uint32_t position, std::string_view chunk);
    /// Returns how many chunks the peer may send in all, or nothing when it need not be told now.
    std::optional<std::uint32_t> credit_due();

    std::string const& peer() const { return peer_; }
    std::unique_ptr<Message> message() { return std::move(message_); }
    std::string const& error() const { return error_; }
    bool has_begun() const { return next_ > 0; }

private:
    std::string const peer_;
    unsigned int const seq_no_;
    std::uint32_t const window_;
    Tm_chunk_receiver receiver_;
    std::unique_ptr<Message> message_;
    std::string error_;
    std::uint32_t next_ = 0;
    std::uint32_t allowed_ = 0;
};

/// Sends messages that fit one chunk. Its buffers have room for the largest chunk. They are kept,
/// because making them takes longer than encoding most messages. Any thread may call it.
class Tm_nats_whole_sender {
public:
    using Use = std::function<void(unsigned char const* chunk, std::size_t size)>;

    /// Calls `use` when the message fits one chunk of at most `most` payload bytes. Returns false
    /// otherwise. Throws what Tm_chunk_sender::send() throws.
    bool send(Message const& message, unsigned int seq_no, std::size_t most, Use const& use);

private:
    struct Buffer {
        explicit Buffer(std::size_t size) : most(size), sender(static_cast<int>(size)) {}

        std::size_t most;
        Tm_chunk_sender sender;
    };
    static constexpr std::size_t most_kept = 8;

    std::unique_ptr<Buffer> take(std::size_t most);
    void keep(std::unique_ptr<Buffer> buffer);

    std::mutex mutex_;
    std::vector<std::unique_ptr<Buffer>> kept_;
};

/// Removes the files that the message brought, as far as there is memory for it.
void tm_nats_remove_files(Message const& message) noexcept;

/// The error text of a decoder that could not make or write a file. Another machine may have room.
inline bool tm_nats_is_local_failure(std::string_view error) {
    return error.substr(0, 10) == "failed to ";
}

/// Throws Tm_nats_exception for invalid options. libnats takes any text as a subject to publish to,
/// also one with line ends and further commands for the server.
void tm_nats_check(Tm_nats_connection const& connection, Tm_nats_transfer_options const& transfer,
                   std::string const& subject);
/// The same for a subject that a caller publishes to, which has no wildcards.
void tm_nats_check_published(std::string const& subject);
