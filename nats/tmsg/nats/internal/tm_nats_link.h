/// A connection to NATS servers, as objects that own what libnats gives.
#pragma once

#include <nats/nats.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "tmsg/nats/internal/tm_nats_event.h"
#include "tmsg/nats/tm_nats_options.h"

/// A message of NATS, which it owns.
class Tm_nats_message {
public:
    explicit Tm_nats_message(natsMsg* message) : message_(message) {}

    std::string_view subject() const { return text_of(natsMsg_GetSubject(message_.get())); }
    /// Empty when nobody waits for an answer. A zero byte follows.
    std::string_view reply() const { return text_of(natsMsg_GetReply(message_.get())); }
    std::string_view payload() const {
        int const size = natsMsg_GetDataLength(message_.get());
        return {natsMsg_GetData(message_.get()), static_cast<std::size_t>(size)};
    }
    /// The server says that nobody listens to what was published with this subject for the reply.
    bool is_no_responders() const { return natsMsg_IsNoResponders(message_.get()); }

private:
    static std::string_view text_of(char const* text) {
        return text == nullptr ? std::string_view() : std::string_view(text);
    }
    struct Destroy {
        void operator()(natsMsg* message) const { natsMsg_Destroy(message); }
    };
    std::unique_ptr<natsMsg, Destroy> message_;
};

class Tm_nats_link {
public:
    using Message_handler = std::function<void(Tm_nats_message message)>;

    /// A subscription. The destructor waits for its handler.
    class Subscription {
    public:
        Subscription(natsConnection* connection, std::string const& subject,
                     std::string const& group, Message_handler on_message);
        Subscription(Subscription const&) = delete;
        Subscription& operator=(Subscription const&) = delete;
        ~Subscription();

        /// Ends the interest, and waits until the handler has got all that came before. Returns
        /// false when the server has not confirmed it in time.
        bool drain(std::chrono::milliseconds time);

    private:
        Message_handler on_message_;
        Tm_nats_event completed_;
        natsSubscription* subscription_ = nullptr;
    };

    /// Connects, or throws Tm_nats_exception. The handler runs on a thread of libnats after each
    /// further connection.
    Tm_nats_link(Tm_nats_connection const& options, std::function<void()> on_reconnected);
    Tm_nats_link(Tm_nats_link const&) = delete;
    Tm_nats_link& operator=(Tm_nats_link const&) = delete;
    /// Closes the connection, and waits for the handlers.
    ~Tm_nats_link();
    void close();

    /// The handler runs on a thread of the subscription. Only std::bad_alloc may leave it.
    std::unique_ptr<Subscription> subscribe(std::string const& subject, std::string const& group,
                                            Message_handler on_message);
    /// Returns false when libnats takes it neither for the socket nor for the next connection.
    /// An empty reply means none.
    bool publish(std::string const& subject, std::string const& reply, void const* data,
                 std::size_t size);
    bool publish(std::string const& subject, std::string const& reply, std::string_view data) {
        return publish(subject, reply, data.data(), data.size());
    }
    /// Waits until the server has got what was published. Returns false when that takes longer.
    bool flush(std::chrono::milliseconds time);

    /// The most bytes after the chunk header that the server takes in one payload.
    std::size_t most_chunk_payload() const { return most_chunk_payload_; }
    /// Does not wait, unlike operations of libnats while it connects again.
    bool is_connected() const { return is_connected_; }
    /// Returns a subject that nobody else has. What is below it is free, too.
    std::string const& inbox() const { return inbox_; }
    std::uint64_t bytes_published() const { return bytes_published_; }

private:
    struct Close {
        void operator()(natsConnection* connection) const { natsConnection_Destroy(connection); }
    };

    void watch(natsOptions* options);
    void learn_payload_limit(natsConnection* connection);

    std::function<void()> on_reconnected_;
    std::string inbox_;
    std::atomic<bool> is_connected_{true};
    std::atomic<std::size_t> most_chunk_payload_{0};
    std::atomic<std::uint64_t> bytes_published_{0};
    Tm_nats_event closed_;
    std::unique_ptr<natsConnection, Close> connection_;
};
