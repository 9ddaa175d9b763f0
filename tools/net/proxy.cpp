/// Takes clients, connects them and passes their bytes on.
#include "net/proxy.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <new>

#include "io/output.h"
#include "io/system.h"
#include "io/terminal.h"
#include "net/connection.h"
#include "net/poll.h"

namespace {

constexpr std::chrono::seconds longest_wait(1);
/// The number of new connections that are accepted before the others go on.
constexpr int links_at_once = 64;
/// The descriptors for each connection: two sockets, two captures and the files of messages.
constexpr std::size_t descriptors_of_link = 8;

pollfd handle_of(ACE_SOCK_Stream const& stream, bool reads, bool writes) {
    auto const events = static_cast<short>((reads ? POLLIN : 0) | (writes ? POLLOUT : 0));
    // poll() would report an error of the socket even if nothing is awaited.
    return {events != 0 ? stream.get_handle() : -1, events, 0};
}

/// An error counts as ready, because reading or writing then reports it.
bool is_ready(pollfd const& handle, short event) {
    return (handle.events & event) != 0 && (handle.revents & (event | POLLERR | POLLHUP)) != 0;
}

}  // namespace

Link::~Link() {
    client_.close();
    upstream_.close();
}

Relay::Passed Link::report_to(Direction direction) {
    return [this, direction](unsigned char const* data, std::size_t size) {
        watcher_.pass(number_, direction, data, size);
    };
}

bool Link::open(Listener& listener, ACE_INET_Addr const& upstream) {
    if (!listener.accept(client_)) return false;
    ACE_INET_Addr address;
    client_.get_remote_addr(address);
    number_ = watcher_.begin(text_of(address));
    connect(upstream);
    return true;
}

void Link::connect(ACE_INET_Addr const& upstream) {
    upstream_name_ = text_of(upstream);
    try {
        if (begin_to_connect(upstream_, upstream)) return;
        throw Failure::of_system("failed to connect to " + upstream_name_);
    } catch (Failure const& failure) {
        lose(failure.what());
    }
}

void Link::close() {
    client_.close();
    upstream_.close();
    watcher_.close(number_);
}

void Link::watch(std::vector<pollfd>& handles) const {
    if (!is_connected_) {
        handles.push_back(handle_of(client_, false, false));
        return handles.push_back(handle_of(upstream_, false, true));
    }
    handles.push_back(handle_of(client_, up_.reads(), down_.writes()));
    handles.push_back(handle_of(upstream_, down_.reads(), up_.writes()));
}

void Link::go_on(pollfd const& client, pollfd const& upstream) {
    if (!is_connected_) {
        if (upstream.revents != 0) finish_connecting();
        return;
    }
    move(up_, down_, Direction::to_upstream, is_ready(client, POLLIN), is_ready(upstream, POLLOUT));
    move(down_, up_, Direction::to_client, is_ready(upstream, POLLIN), is_ready(client, POLLOUT));
}

void Link::finish_connecting() {
    errno = error_of(upstream_);
    if (errno != 0) {
        return lose(Failure::of_system("failed to connect to " + upstream_name_).what());
    }
    is_connected_ = true;
}

void Link::move(Relay& relay, Relay& other, Direction direction, bool can_read, bool can_write) {
    if (relay.is_over()) return;
    try {
        if (can_write && relay.writes()) relay.write();
        if (can_read && relay.reads()) relay.read();
        if (relay.is_over()) watcher_.end(number_, direction);
    } catch (Lost_stream const& loss) {
        watcher_.lose(number_, loss.what());
        relay.stop();
        other.stop_reading();
    } catch (std::bad_alloc const& failure) {
        lose(text_of(failure));
    }
}

/// Gives up the whole connection.
void Link::lose(std::string const& error) {
    watcher_.lose(number_, error);
    up_.stop();
    down_.stop();
}

Proxy::Proxy(Endpoint const& place, ACE_INET_Addr const& upstream, Proxy_watcher& watcher)
    : listener_(place),
      upstream_(upstream),
      watcher_(watcher),
      places_(count_places(most_connections, descriptors_of_link)) {}

void Proxy::run() {
    try {
        for (std::vector<pollfd> handles; wait(handles);) move(handles);
    } catch (Interrupted const&) {
        // Output was being written when the signal came.
    }
}

/// The handles are two for each link, in their order, then the listener. Returns false when a
/// signal came.
bool Proxy::wait(std::vector<pollfd>& handles) const {
    handles.clear();
    for (Link const& link : links_) link.watch(handles);
    bool const accepts = !listener_.is_paused() && links_.size() < places_;
    if (accepts) handles.push_back({listener_.handle(), POLLIN, 0});
    return wait_for(handles, listener_.is_paused() ? listener_.pause_left() : longest_wait);
}

void Proxy::move(std::vector<pollfd> const& handles) {
    auto handle = handles.begin();
    for (auto next = links_.begin(); next != links_.end(); handle += 2) {
        throw_if_interrupted();
        auto const link = next++;
        link->go_on(handle[0], handle[1]);
        if (!link->is_over()) continue;
        link->close();
        links_.erase(link);
    }
    if (handle != handles.end() && handle->revents != 0) accept_all();
}

void Proxy::accept_all() {
    try {
        for (int i = 0; i < links_at_once && accept(); ++i) continue;
    } catch (std::exception const& error) {
        report(text_of(error));
        listener_.pause(longest_wait);
    }
}

/// Returns false when no client waits or there is no place for one.
bool Proxy::accept() {
    if (links_.size() >= places_) return false;
    std::list<Link> fresh;
    fresh.emplace_back(watcher_);
    if (!fresh.front().open(listener_, upstream_)) {
        if (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED) return false;
        throw Failure::of_system("failed to accept a client");
    }
    if (fresh.front().is_over()) {
        fresh.front().close();
    } else {
        links_.splice(links_.end(), fresh);
    }
    return true;
}
