/// The server's end of a connection. No operation waits. The client keeps replies that the other
/// end has not taken, and reads no requests until the other end has taken them.
#pragma once

#include <ace/SOCK_Acceptor.h>
#include <ace/SOCK_Stream.h>
#include <poll.h>
#include <tmsg/tmsg.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "io/system.h"

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
    bool accept(ACE_SOCK_Acceptor& acceptor);

    int handle() const { return stream_.get_handle(); }
    /// Returns the number of bytes of replies that the other end has not taken.
    std::size_t unsent() const { return unsent_.size() - sent_; }
    /// Returns the event of poll() that must come before go_on() can do anything.
    short awaited() const { return unsent() > 0 ? POLLOUT : POLLIN; }
    /// Returns whether that event has come.
    bool is_ready() const;
    /// Returns the time since bytes were sent or received.
    Clock::duration idle_time() const { return Clock::now() - last_active_; }

    /// Sends more of the replies, or passes received bytes to the receiver. Returns false when the
    /// other end has closed the connection. Throws Lost_connection, and what the receiver's
    /// handlers throw.
    bool go_on(Tm_chunk_receiver& receiver);
    /// Sends the message, or keeps the bytes that the other end does not take yet. Throws
    /// Lost_connection, and what a Tm_chunk_sender throws.
    void send(Message const& message, unsigned int seq_no, unsigned char port);

private:
    bool receive(Tm_chunk_receiver& receiver);
    std::size_t pass(unsigned char const* data, std::size_t size,
                     Tm_chunk_receiver& receiver) const;
    void send_unsent();

    ACE_SOCK_Stream stream_;
    Clock::time_point last_active_ = Clock::now();
    std::vector<unsigned char> unread_;  ///< input that waits until all replies are sent
    std::string unsent_;
    std::size_t sent_ = 0;  ///< the bytes of unsent_ that are sent already
};
