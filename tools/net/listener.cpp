/// Opens a socket and takes connections from it.
#include "net/listener.h"

#include <netinet/tcp.h>

#include "io/system.h"

namespace {

/// The number of connections that may wait to be accepted. The system may allow fewer.
constexpr int backlog = 4096;
constexpr char const* loopback = "127.0.0.1";

}  // namespace

Listener::Listener(Endpoint const& place) {
    std::string const host = place.host.empty() ? loopback : place.host;
    unsigned short const port = place.port.value_or(0);
    ACE_INET_Addr const address = resolve(host, port);
    if (acceptor_.open(address, 1, address.get_type(), backlog) != 0) {
        throw Failure::of_system("failed to listen on port " + std::to_string(port) +
                                 (place.host.empty() ? "" : " of " + host));
    }
    move_above_standard(acceptor_);
    acceptor_.enable(ACE_NONBLOCK);
}

Listener::~Listener() { acceptor_.close(); }

unsigned short Listener::port() const {
    ACE_INET_Addr address;
    acceptor_.get_local_addr(address);
    return address.get_port_number();
}

std::string Listener::name() const {
    ACE_INET_Addr address;
    acceptor_.get_local_addr(address);
    return text_of(address);
}

bool Listener::accept(ACE_SOCK_Stream& stream) {
    if (acceptor_.accept(stream) != 0) return false;
    set_up(stream);
    return true;
}

void set_up(ACE_SOCK_Stream& stream) {
    move_above_standard(stream);
    stream.enable(ACE_NONBLOCK);
    int on = 1;
    stream.set_option(IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}
