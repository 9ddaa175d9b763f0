/// One end of a TCP connection over which messages go in chunks.
#pragma once

#include <ace/SOCK_Stream.h>
#include <ace/Time_Value.h>
#include <tmsg/tmsg.h>

#include <chrono>
#include <string>

#include "failure.h"

/// The other end is gone, or too slow.
class Lost_connection : public Failure {
public:
    using Failure::Failure;
};

/// The moment until which something must be done.
class Deadline {
public:
    explicit Deadline(double seconds)
        : end_(Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                  std::chrono::duration<double>(seconds))) {}

    /// Not negative.
    ACE_Time_Value left() const;

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point end_;
};

class Connection {
public:
    Connection() = default;
    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;
    ~Connection() { stream_.close(); }

    ACE_SOCK_Stream& stream() { return stream_; }
    int handle() const { return stream_.get_handle(); }

    /// Throws Lost_connection when not all is sent in time, and what the sender throws.
    void send(Message const& message, int chunk_size, unsigned int seq_no, unsigned char port,
              Deadline const& deadline);
    /// Passes what comes next to the receiver. False: the other end has closed the connection.
    /// Throws Lost_connection when nothing comes in time, and what the receiver's handlers throw.
    bool receive(Tm_chunk_receiver& receiver, Deadline const& deadline);

private:
    ACE_SOCK_Stream stream_;
};
