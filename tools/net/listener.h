/// Takes connections.
#pragma once

#include <ace/SOCK_Acceptor.h>
#include <ace/SOCK_Stream.h>

#include <chrono>
#include <string>

#include "net/address.h"

/// A socket on which connections arrive.
class Listener {
public:
    using Clock = std::chrono::steady_clock;

    /// Listens there, on a free port when the port is 0 or missing. Throws Failure.
    explicit Listener(Endpoint const& place);
    Listener(Listener const&) = delete;
    Listener& operator=(Listener const&) = delete;
    ~Listener();

    int handle() const { return acceptor_.get_handle(); }
    unsigned short port() const;
    /// Returns "HOST:PORT" in numbers.
    std::string name() const;

    /// Takes the next connection, whose operations do not wait. Returns false, and sets errno, when
    /// there is none. Throws Failure.
    bool accept(ACE_SOCK_Stream& stream);

    /// Lets connections wait for this time.
    void pause(Clock::duration time) { next_accept_ = Clock::now() + time; }
    bool is_paused() const { return Clock::now() < next_accept_; }
    /// Returns the rest of the pause. It is not positive when there is none.
    Clock::duration pause_left() const { return next_accept_ - Clock::now(); }

private:
    ACE_SOCK_Acceptor acceptor_;
    Clock::time_point next_accept_ = Clock::now();
};

/// Makes the operations of an open socket return at once, and its bytes leave at once. Throws
/// Failure.
void set_up(ACE_SOCK_Stream& stream);
