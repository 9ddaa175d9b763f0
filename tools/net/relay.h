/// Passes the bytes of one direction of a connection on, without a change.
#pragma once

#include <ace/SOCK_Stream.h>

#include <cstddef>
#include <functional>
#include <vector>

#include "io/system.h"

/// A connection that failed.
class Lost_stream : public Failure {
public:
    using Failure::Failure;
};

/// Reads from one socket and writes to another one. No operation waits. It reads nothing while
/// bytes wait for the reader, so at most a block of bytes takes memory, and a slow reader slows the
/// writer. It passes the end of the stream on, too.
class Relay {
public:
    /// Gets the bytes that have just been passed on.
    using Passed = std::function<void(unsigned char const* data, std::size_t size)>;

    /// The sockets must outlive the relay.
    Relay(ACE_SOCK_Stream& from, ACE_SOCK_Stream& to, Passed on_passed)
        : from_(from), to_(to), on_passed_(std::move(on_passed)) {}
    Relay(Relay const&) = delete;
    Relay& operator=(Relay const&) = delete;

    bool reads() const { return !is_ended_ && waiting_.empty(); }
    bool writes() const { return !waiting_.empty(); }
    /// Returns true when the relay has passed all on, the end included, or was stopped.
    bool is_over() const { return is_over_; }

    /// Reads once and passes on what the reader takes. Throws Lost_stream when one of the sockets
    /// fails, and what the handler throws.
    void read();
    /// Passes on more of the bytes that wait. Throws what read() throws.
    void write();
    /// Reads no more. Bytes that wait are still passed on.
    void stop_reading();
    /// Drops bytes that wait.
    void stop();

private:
    std::size_t send(unsigned char const* data, std::size_t size);
    void pass_end();

    ACE_SOCK_Stream& from_;
    ACE_SOCK_Stream& to_;
    Passed on_passed_;
    std::vector<unsigned char> waiting_;
    std::size_t sent_ = 0;  ///< the bytes of waiting_ that are passed on already
    bool is_ended_ = false;
    bool is_over_ = false;
};
