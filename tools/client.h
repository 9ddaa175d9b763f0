/// The server's end of a connection. No operation waits. It keeps replies that the other end has
/// not read, and reads no requests until the other end has read them.
#pragma once

#include <ace/SOCK_Acceptor.h>
#include <ace/SOCK_Stream.h>
#include <poll.h>
#include <tmsg/tmsg.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "system.h"

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
    /// Bytes of answers that the other end has not taken.
    std::size_t unsent() const { return unsent_.size() - sent_; }
    /// The event of poll() after which go_on() does something.
    short awaited() const { return unsent() > 0 ? POLLOUT : POLLIN; }
    bool is_ready() const;
    /// The time since bytes were sent or received.
    Clock::duration idle_time() const { return Clock::now() - last_active_; }

    /// Goes on sending, or passes received bytes to the receiver. Returns false when the other end
    /// has closed the connection. Throws Lost_connection, and what the receiver's handlers throw.
    bool go_on(Tm_chunk_receiver& receiver);
    /// Throws Lost_connection, and what a Tm_chunk_sender throws.
    void send(Message const& message, unsigned int seq_no, unsigned char port);

private:
    bool receive(Tm_chunk_receiver& receiver);
    std::size_t pass(unsigned char const* data, std::size_t size,
                     Tm_chunk_receiver& receiver) const;
    void send_unsent();

    ACE_SOCK_Stream stream_;
    Clock::time_point last_active_ = Clock::now();
    std::vector<unsigned char> unread_;  ///< came, but its turn is after the unsent answers
    std::string unsent_;
    std::size_t sent_ = 0;  ///< of unsent_
};
