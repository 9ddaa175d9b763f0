/// The server's end of a connection. No operation waits. The client keeps replies that the other
/// end has not taken, and reads no requests until the other end has taken them. A reply can be
/// delayed. The client goes on reading while few delayed bytes wait.
#pragma once

#include <ace/SOCK_Stream.h>
#include <poll.h>
#include <tmsg/tmsg.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <string>
#include <vector>

#include "io/system.h"
#include "net/listener.h"

/// The other end is gone, or too slow.
class Lost_connection : public Failure {
public:
    using Failure::Failure;
};

class Client {
public:
    using Clock = std::chrono::steady_clock;

    Client() = default;
    Client(Client const&) = delete;
    Client& operator=(Client const&) = delete;
    ~Client() { stream_.close(); }

    /// Takes and owns the next connection. Returns false, and sets errno, when there is none.
    /// Throws Failure.
    bool accept(Listener& listener) { return listener.accept(stream_); }

    int handle() const { return stream_.get_handle(); }
    /// Returns the number of bytes of replies that the other end has not taken.
    std::size_t unsent() const { return unsent_.size() - sent_; }
    /// Returns the number of these bytes that do not wait for their time.
    std::size_t sendable() const { return unsent() - delayed_bytes_; }
    bool has_delayed() const { return delayed_bytes_ > 0; }
    /// Returns the event of poll() that must come before go_on() can do anything, or 0 for none.
    short awaited() const {
        if (sendable() > 0) return POLLOUT;
        return reads() ? short{POLLIN} : short{0};
    }
    /// Returns whether that event has come.
    bool is_ready() const;
    /// Returns the time since bytes were sent or received, or since keep_awake().
    Clock::duration idle_time() const { return Clock::now() - last_active_; }
    void keep_awake() { last_active_ = Clock::now(); }

    /// Sends more of the replies, or passes received bytes to the receiver. Returns false when the
    /// other end has closed the connection and waits for no reply. Throws Lost_connection, and what
    /// the receiver's handlers throw.
    bool go_on(Tm_chunk_receiver& receiver);
    /// Sends the message at `time`, or at once if that time has come. Keeps the bytes that
    /// the other end does not take yet. Throws Lost_connection, and what a Tm_chunk_sender throws.
    void send(Message const& message, unsigned int seq_no, unsigned char port,
              Clock::time_point time);
    /// Ends the delay of replies whose time has come. go_on() sends them.
    void release_due();

private:
    /// A reply that waits for its time. Its bytes are in unsent_.
    struct Delayed {
        Clock::time_point time;
        std::size_t bytes;
    };

    /// Returns whether the next bytes of the other end may be read.
    bool reads() const;
    void receive(Tm_chunk_receiver& receiver);
    bool has_room() const;
    std::size_t pass(unsigned char const* data, std::size_t size,
                     Tm_chunk_receiver& receiver) const;
    void send_unsent();

    ACE_SOCK_Stream stream_;
    Clock::time_point last_active_ = Clock::now();
    std::vector<unsigned char> unread_;  ///< input that waits until all replies are sent
    std::string unsent_;
    std::size_t sent_ = 0;  ///< the bytes of unsent_ that are sent already
    std::deque<Delayed> delayed_;
    std::size_t delayed_bytes_ = 0;  ///< the last bytes of unsent_
    bool is_ended_ = false;          ///< the other end sends no more
};
