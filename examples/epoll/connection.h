/// A connection that never waits: it sends chunks while the socket has room, and passes on the
/// bytes that have come.
#pragma once

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <list>
#include <string>
#include <system_error>
#include <utility>

#include "tmsg/tmsg.h"

/// Throws the system's text about the call that has just failed.
[[noreturn]] inline void fail(std::string const& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/// Returns the descriptor, unless the call that should have made it has failed.
inline int checked(int descriptor, std::string const& what) {
    if (descriptor < 0) fail(what);
    return descriptor;
}

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;
    ~Descriptor() { ::close(number_); }

    int get() const { return number_; }

private:
    int number_;
};

inline sockaddr_in loopback(unsigned short port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/// The most memory that the process had so far, in KiB.
inline long peak_memory() {
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

class Connection {
public:
    /// Payload bytes of a chunk.
    static constexpr int chunk_size = 4096;

    /// Takes ownership of a socket that does not block. Watches it in `epoll`. Reads nothing while
    /// `most_outgoing` messages wait to be sent. Only one end may have such a limit: if neither end
    /// reads, neither goes on.
    Connection(int socket, int epoll, Tm_chunk_receiver& receiver, std::size_t most_outgoing)
        : socket_(socket), epoll_(epoll), receiver_(receiver), most_outgoing_(most_outgoing) {
        watch(EPOLL_CTL_ADD);
    }
    ~Connection() { receiver_.forget(socket_.get()); }

    /// Sends the message as soon as there is room. The messages take turns, a chunk each, so that
    /// a long one does not hold up the others.
    void send(Message message, unsigned int seq_no, unsigned int port) {
        outgoing_.emplace_back(std::move(message), seq_no, static_cast<unsigned char>(port));
        watch(EPOLL_CTL_MOD);
    }

    /// Does what epoll has reported. Returns false when the other end has closed the connection.
    bool go_on(std::uint32_t events) {
        bool const is_open = (events & ~EPOLLOUT) == 0 || receive();
        if (is_open && (events & EPOLLOUT) != 0) send_chunks();
        if (is_open) watch(EPOLL_CTL_MOD);
        return is_open;
    }

private:
    struct Outgoing {
        Outgoing(Message&& sent, unsigned int seq_no, unsigned char port)
            : message(std::move(sent)), source(message, seq_no, port, chunk_size) {}

        Message const message;
        Tm_chunk_source source;
    };

    /// The chunks that are sent before other connections have their turn.
    static constexpr int chunks_at_once = 64;

    void watch(int operation) {
        bool const has_room = outgoing_.size() < most_outgoing_;
        bool const has_more = left_ > 0 || !outgoing_.empty();
        epoll_event event = {};
        event.events = (has_room ? EPOLLIN : 0U) | (has_more ? EPOLLOUT : 0U);
        event.data.fd = socket_.get();
        bool const is_done = ::epoll_ctl(epoll_, operation, socket_.get(), &event) == 0;
        if (!is_done) fail("cannot watch a connection");
    }

    bool receive() {
        unsigned char block[1 << 16];
        ssize_t const got = ::recv(socket_.get(), block, sizeof block, 0);
        if (got < 0 && is_not_ready()) return true;
        if (got < 0) fail("cannot receive");
        if (got > 0) {
            receiver_.receive(socket_.get(), block, static_cast<std::size_t>(got));
        } else {
            receiver_.finish(socket_.get());
        }
        return got > 0;
    }

    void send_chunks() {
        for (int i = 0; i < chunks_at_once && (left_ > 0 || next_chunk()); ++i) {
            ssize_t const sent = ::send(socket_.get(), chunk_, left_, MSG_NOSIGNAL);
            if (sent < 0 && is_not_ready()) return;
            if (sent < 0) fail("cannot send");
            chunk_ += sent;
            left_ -= static_cast<std::size_t>(sent);
        }
    }

    /// Puts the message whose chunk is next behind the others.
    bool next_chunk() {
        while (!outgoing_.empty()) {
            outgoing_.splice(outgoing_.end(), outgoing_, outgoing_.begin());
            if (outgoing_.back().source.next(chunk_, left_)) return true;
            outgoing_.pop_back();
        }
        return false;
    }

    static bool is_not_ready() { return errno == EAGAIN || errno == EINTR; }

    Descriptor socket_;
    int epoll_;
    Tm_chunk_receiver& receiver_;
    std::size_t most_outgoing_;
    std::list<Outgoing> outgoing_;
    unsigned char const* chunk_ = nullptr;
    std::size_t left_ = 0;  ///< of the chunk
};
