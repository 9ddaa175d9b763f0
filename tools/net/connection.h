/// The caller's end of a TCP connection.
#pragma once

#include <ace/SOCK_Stream.h>
#include <ace/Time_Value.h>
#include <tmsg/tmsg.h>

#include <chrono>
#include <string>

#include "net/address.h"

/// The moment at which the time for a call ends.
class Deadline {
public:
    explicit Deadline(double seconds);

    std::chrono::steady_clock::time_point end() const { return end_; }
    /// Returns the time that is left, which is never negative.
    ACE_Time_Value left() const;

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point end_;
};

/// A connection whose operations wait. Messages travel over it in chunks.
class Connection {
public:
    Connection() = default;
    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;
    ~Connection() { stream_.close(); }

    int handle() const { return stream_.get_handle(); }

    /// Connects to HOST:PORT. Throws Failure when that fails or takes too long.
    void open(std::string const& address, Deadline const& deadline);
    /// Sends the message. Throws Failure when the time ends before all of it is sent, and what the
    /// sender throws.
    void send(Message const& message, int chunk_size, unsigned int seq_no, unsigned char port,
              Deadline const& deadline);
    /// Passes the next bytes to the receiver. Returns false when the other end has closed the
    /// connection. Throws Failure when no bytes come in time, and what the receiver's handlers
    /// throw.
    bool receive(Tm_chunk_receiver& receiver, Deadline const& deadline);

private:
    ACE_SOCK_Stream stream_;
};

// Connecting without waiting: when the stream is ready for output, error_of() says whether it is
// connected.

/// Begins to connect the stream, whose operations do not wait. Returns false, and sets errno, when
/// it fails at once. Throws Failure.
bool begin_to_connect(ACE_SOCK_Stream& stream, ACE_INET_Addr const& address);
/// Returns the error number of the stream, or 0.
int error_of(ACE_SOCK_Stream const& stream);
