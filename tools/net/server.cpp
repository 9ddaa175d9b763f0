/// Waits for clients, serves and drops them, prints their messages and replies to them.
#include "net/server.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <new>

#include "forms/reader.h"
#include "io/system.h"
#include "io/terminal.h"
#include "net/poll.h"

namespace {

constexpr std::chrono::seconds interval(1);
/// A client that is idle for less than this time is not closed to make room. The new client waits.
constexpr std::chrono::milliseconds grace(20);
/// The number of new connections that are accepted before the other clients are served again.
constexpr int accepted_at_once = 256;
/// The descriptors for each client. The files that messages bring need descriptors, too.
constexpr std::size_t descriptors = 2;

}  // namespace

Server::Server(Endpoint const& place, Tm_limits const& limits)
    : listener_(place),
      places_(count_places(most_clients, descriptors)),
      receiver_([this](std::unique_ptr<Message> message, int client,
                       Tm_header const& header) { take(std::move(message), client, header); },
                [](int, unsigned int, std::string const& text) { report(text); }, limits) {
    answer_with(echo);
}

void Server::answer_with(Method method) {
    service_.on_any(
        [this, method = std::move(method)](Message const&) { return call_method(method, *lent_); });
}

void Server::close_after(double seconds) {
    most_idle_ =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

void Server::run() {
    try {
        for (std::vector<pollfd> handles; wait(handles);) {
            serve_ready(handles);
            send_due();
            drop_idle();
            if (Clock::now() >= next_house_keeping_) keep_house();
        }
    } catch (Interrupted const&) {
        // A client was being served when the signal came.
    }
}

/// Waits until a connection is ready or a deadline has come. Returns false when a signal came.
bool Server::wait(std::vector<pollfd>& handles) {
    handles = watched();
    return wait_for(handles, longest_wait());
}

/// The listener is the last handle, so that each client that is ready counts as active before the
/// server accepts new ones.
std::vector<pollfd> Server::watched() const {
    std::vector<pollfd> handles;
    handles.reserve(clients_.size() + 1);
    for (Client const& client : clients_) {
        short const awaited = client.awaited();
        // poll() would report an error of the connection even if nothing is awaited.
        handles.push_back({awaited != 0 ? client.handle() : -1, awaited, 0});
    }
    if (!listener_.is_paused()) handles.push_back({listener_.handle(), POLLIN, 0});
    return handles;
}

Server::Clock::duration Server::longest_wait() const {
    Clock::duration longest = interval;
    if (listener_.is_paused()) longest = std::min(longest, listener_.pause_left());
    if (!delayed_.empty()) longest = std::min(longest, delayed_.front().first - Clock::now());
    if (!clients_.empty()) longest = std::min(longest, most_idle_ - clients_.front().idle_time());
    return std::max(longest, Clock::duration::zero());
}

void Server::serve_ready(std::vector<pollfd> const& handles) {
    for (pollfd const& handle : handles) {
        if (handle.revents == 0) continue;
        if (handle.fd == listener_.handle()) return accept_all();
        auto const found = by_handle_.find(handle.fd);
        if (found != by_handle_.end()) serve(found->second);
    }
}

/// Sends the replies whose time has come. A new client may have the handle of an old one. It gets
/// its replies at their own time.
void Server::send_due() {
    auto const now = Clock::now();
    while (!delayed_.empty() && delayed_.front().first <= now) {
        auto const found = by_handle_.find(delayed_.front().second);
        delayed_.pop_front();
        if (found == by_handle_.end()) continue;
        found->second->release_due();
        if (found->second->sendable() > 0) serve(found->second);
    }
}

void Server::accept_all() {
    try {
        for (int i = 0; i < accepted_at_once && accept(); ++i) continue;
    } catch (std::exception const& error) {
        report(text_of(error));
        listener_.pause(interval);
    }
}

/// Accepts one client, or makes room for one. Returns false when no client waits, and when there
/// can be no room yet.
bool Server::accept() {
    while (clients_.size() >= places_) {
        if (!make_room()) return false;
    }
    Clients fresh(1);
    if (fresh.front().accept(listener_)) {
        by_handle_[fresh.front().handle()] = fresh.begin();
        clients_.splice(clients_.end(), fresh);
        return true;
    }
    if (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED) return false;
    if (clients_.empty()) throw Failure::of_system("failed to accept a client");
    return make_room();
}

/// Closes the longest idle client. Returns false when that client is not idle for long enough.
bool Server::make_room() {
    auto const idle_time = clients_.front().idle_time();
    if (idle_time < grace) {
        listener_.pause(grace - idle_time);
        return false;
    }
    retire(clients_.begin());
    return true;
}

void Server::serve(Clients::iterator client) {
    throw_if_interrupted();
    try {
        if (client->go_on(receiver_)) return clients_.splice(clients_.end(), clients_, client);
    } catch (Lost_connection const& loss) {
        report(loss.what());
    } catch (std::bad_alloc const& failure) {
        // The messages of this client may take most of the memory.
        report(text_of(failure));
    }
    drop(client);
}

void Server::drop(Clients::iterator client) {
    receiver_.forget(client->handle());
    by_handle_.erase(client->handle());
    clients_.erase(client);
}

/// Closes an idle client. Serves it instead when it is ready, because it only waited for its turn.
/// Keeps a client that waits for a delayed reply.
void Server::retire(Clients::iterator client) {
    if (client->is_ready()) return serve(client);
    if (client->sendable() == 0 && client->has_delayed()) {
        client->keep_awake();
        return clients_.splice(clients_.end(), clients_, client);
    }
    if (client->unsent() > 0) return drop_unsent(client);
    drop(client);
}

void Server::drop_unsent(Clients::iterator client) {
    report("failed to send: timed out");
    drop(client);
}

void Server::drop_idle() {
    while (!clients_.empty() && clients_.front().idle_time() >= most_idle_)
        retire(clients_.begin());
}

void Server::drop_stalled() {
    for (auto next = clients_.begin(); next != clients_.end() && next->idle_time() >= patience;) {
        auto const client = next++;
        if (client->sendable() > 0) retire(client);
    }
}

void Server::keep_house() {
    drop_stalled();
    receiver_.collect_garbage();
    next_house_keeping_ = Clock::now() + interval;
}

void Server::take(std::unique_ptr<Message> message, int handle, Tm_header const& header) {
    Temporary_files files;
    files.add(*message);
    Client& client = *by_handle_.at(handle);
    bool const is_request = message->get_msg_type() == Message::TMT_REQUEST;
    try {
        printer_.print(*message, header);
        if (is_request) answer(*message, client, header);
    } catch (Lost_connection const&) {
        throw;
    } catch (std::exception const& error) {
        report(text_of(error));
        if (!is_request) return;
        send(Message::fault(no_answer, text_of(error)), client, header);
    }
}

/// Sends the message. When there are too many unsent bytes then, drops other clients that have
/// unsent bytes, the longest idle one first.
void Server::send(Message const& message, Client& client, Tm_header const& header) {
    auto const time = Clock::now() + delay_;
    if (delay_.count() > 0) delayed_.emplace_back(time, client.handle());
    client.send(message, header.get_seq_no(), static_cast<unsigned char>(header.get_tmport()),
                time);
    if (client.unsent() == 0) return;
    std::size_t unsent = 0;
    for (Client const& each : clients_) unsent += each.unsent();
    for (auto next = clients_.begin(); next != clients_.end() && unsent > most_unsent;) {
        auto const other = next++;
        if (other->unsent() == 0 || &*other == &client) continue;
        unsent -= other->unsent();
        drop_unsent(other);
    }
}

void Server::answer(Message& request, Client& client, Tm_header const& header) {
    lent_ = &request;
    send(service_.answer(request), client, header);
}
