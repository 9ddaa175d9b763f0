/// Passes the bytes of any number of connections on to another program, on one thread.
#pragma once

#include <ace/INET_Addr.h>
#include <ace/SOCK_Stream.h>
#include <poll.h>

#include <cstddef>
#include <list>
#include <string>
#include <vector>

#include "net/direction.h"
#include "net/listener.h"
#include "net/relay.h"

/// Sees what a proxy does. An exception of an operation ends the proxy.
class Proxy_watcher {
public:
    virtual ~Proxy_watcher() = default;

    /// A client with this address has connected. Returns the number of the connection.
    virtual int begin(std::string const& client) = 0;
    /// These bytes have just been passed on.
    virtual void pass(int connection, Direction direction, unsigned char const* data,
                      std::size_t size) = 0;
    /// The sender has ended its stream, and all of it has been passed on.
    virtual void end(int connection, Direction direction) = 0;
    /// The connection failed.
    virtual void lose(int connection, std::string const& error) = 0;
    /// The connection is closed.
    virtual void close(int connection) = 0;
};

/// The connection of a client, and the connection to the other program that serves it.
class Link {
public:
    explicit Link(Proxy_watcher& watcher) : watcher_(watcher) {}
    Link(Link const&) = delete;
    Link& operator=(Link const&) = delete;
    ~Link();

    /// Takes the next connection and begins to connect to the other program. Returns false, and
    /// sets errno, when no client waits. Throws Failure, and what the watcher throws.
    bool open(Listener& listener, ACE_INET_Addr const& upstream);
    /// Appends the handles of both sockets, each with the events that it waits for.
    void watch(std::vector<pollfd>& handles) const;
    /// Does what the two handles of watch() are ready for. Throws what the watcher throws.
    void go_on(pollfd const& client, pollfd const& upstream);
    bool is_over() const { return up_.is_over() && down_.is_over(); }
    /// Closes both sockets. Throws what the watcher throws.
    void close();

private:
    Relay::Passed report_to(Direction direction);
    void connect(ACE_INET_Addr const& upstream);
    void finish_connecting();
    void move(Relay& relay, Relay& other, Direction direction, bool can_read, bool can_write);
    void lose(std::string const& error);

    Proxy_watcher& watcher_;
    int number_ = 0;
    std::string upstream_name_;
    ACE_SOCK_Stream client_;
    ACE_SOCK_Stream upstream_;
    bool is_connected_ = false;  ///< to the other program
    Relay up_{client_, upstream_, report_to(Direction::to_upstream)};
    Relay down_{upstream_, client_, report_to(Direction::to_client)};
};

class Proxy {
public:
    /// The largest number of connections at a time. A limit on descriptors can make it smaller.
    static constexpr std::size_t most_connections = 4096;

    /// Listens there, and connects each client to `upstream`. Throws Failure.
    Proxy(Endpoint const& place, ACE_INET_Addr const& upstream, Proxy_watcher& watcher);

    unsigned short port() const { return listener_.port(); }
    /// Returns "HOST:PORT" in numbers.
    std::string name() const { return listener_.name(); }

    /// Passes on until SIGINT, SIGTERM or SIGHUP comes. Throws what the watcher throws.
    void run();

private:
    bool wait(std::vector<pollfd>& handles) const;
    void move(std::vector<pollfd> const& handles);
    void accept_all();
    bool accept();

    Listener listener_;
    ACE_INET_Addr upstream_;
    Proxy_watcher& watcher_;
    std::size_t places_;
    std::list<Link> links_;
};
