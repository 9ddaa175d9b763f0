/// Waits for clients, serves and drops them, prints their messages and replies to them.
#include "net/server.h"

#include <ace/INET_Addr.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <exception>
#include <new>

#include "forms/reader.h"
#include "io/system.h"
#include "io/terminal.h"

namespace {

constexpr std::chrono::seconds interval(1);
/// A client that is idle for less than this time is not closed to make room. The new client waits.
constexpr std::chrono::milliseconds grace(20);
/// The number of connections that may wait to be accepted. The system may allow fewer.
constexpr int backlog = 4096;
/// The number of new connections that are accepted before the other clients are served again.
constexpr int accepted_at_once = 256;
/// The code of the fault that is sent when a reply cannot be made.
constexpr int no_answer = 1;

/// Returns the number of clients that the server may have at a time. It is half the number of
/// descriptors, because the files that messages bring need descriptors, too.
std::size_t count_places() {
    constexpr rlim_t wanted = 2 * Server::most_clients;
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) throw Failure::of_system("failed to get a limit");
    if (limit.rlim_cur < wanted) {
        rlimit const raised = {std::min(wanted, limit.rlim_max), limit.rlim_max};
        if (::setrlimit(RLIMIT_NOFILE, &raised) == 0) limit = raised;
    }
    return std::max<std::size_t>(std::min(wanted, limit.rlim_cur) / 2, 1);
}

timespec to_timespec(std::chrono::nanoseconds time) {
    auto const seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    return {seconds.count(), (time - seconds).count()};
}

}  // namespace

Server::Server(unsigned short port, Tm_limits const& limits)
    : places_(count_places()),
      receiver_([this](std::unique_ptr<Message> message, int client,
                       Tm_header const& header) { take(std::move(message), client, header); },
                [](int, unsigned int, std::string const& text) { report(text); }, limits) {
    ACE_INET_Addr const address(port, "127.0.0.1");
    if (acceptor_.open(address, 1, PF_INET, backlog) != 0) {
        throw Failure::of_system("failed to listen on port " + std::to_string(port));
    }
    move_above_standard(acceptor_);
    acceptor_.enable(ACE_NONBLOCK);
}

Server::~Server() { acceptor_.close(); }

unsigned short Server::port() const {
    ACE_INET_Addr address;
    acceptor_.get_local_addr(address);
    return address.get_port_number();
}

void Server::print_as(Form form, Writing const& writing) {
    form_ = form;
    writing_ = writing;
}

void Server::close_after(double seconds) {
    most_idle_ =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

void Server::run() {
    try {
        for (std::vector<pollfd> handles; wait(handles);) {
            serve_ready(handles);
            drop_idle();
            if (Clock::now() >= next_house_keeping_) keep_house();
        }
    } catch (Interrupted const&) {
        // A client was being served when the signal came.
    }
}

/// Waits until a connection is ready or a deadline has come. Returns false when a signal came.
bool Server::wait(std::vector<pollfd>& handles) {
    Blocked_signals const signals;
    if (is_interrupted()) return false;
    handles = watched();
    timespec const time = to_timespec(longest_wait());
    if (::ppoll(handles.data(), handles.size(), &time, &signals.before()) >= 0) return true;
    if (errno != EINTR) throw Failure::of_system("failed to wait for clients");
    return !is_interrupted();
}

/// The acceptor is the last handle, so that each client that is ready counts as active before the
/// server accepts new ones.
std::vector<pollfd> Server::watched() const {
    std::vector<pollfd> handles;
    handles.reserve(clients_.size() + 1);
    for (Client const& client : clients_) {
        handles.push_back({client.handle(), client.awaited(), 0});
    }
    if (Clock::now() >= next_accept_) handles.push_back({acceptor_.get_handle(), POLLIN, 0});
    return handles;
}

Server::Clock::duration Server::longest_wait() const {
    Clock::duration longest = interval;
    auto const now = Clock::now();
    if (next_accept_ > now) longest = std::min(longest, next_accept_ - now);
    if (!clients_.empty()) longest = std::min(longest, most_idle_ - clients_.front().idle_time());
    return std::max(longest, Clock::duration::zero());
}

void Server::serve_ready(std::vector<pollfd> const& handles) {
    for (pollfd const& handle : handles) {
        if (handle.revents == 0) continue;
        if (handle.fd == acceptor_.get_handle()) return accept_all();
        auto const found = by_handle_.find(handle.fd);
        if (found != by_handle_.end()) serve(found->second);
    }
}

void Server::accept_all() {
    try {
        for (int i = 0; i < accepted_at_once && accept(); ++i) continue;
    } catch (std::exception const& error) {
        report(text_of(error));
        next_accept_ = Clock::now() + interval;
    }
}

/// Accepts one client, or makes room for one. Returns false when no client waits, and when there
/// can be no room yet.
bool Server::accept() {
    while (clients_.size() >= places_) {
        if (!make_room()) return false;
    }
    Clients fresh(1);
    if (fresh.front().accept(acceptor_)) {
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
        next_accept_ = Clock::now() + (grace - idle_time);
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
void Server::retire(Clients::iterator client) {
    if (client->is_ready()) return serve(client);
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
        if (client->unsent() > 0) retire(client);
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
        print(*message, header);
        if (is_request) answer(*message, client, header);
    } catch (Output_failure const&) {
        throw;
    } catch (Lost_connection const&) {
        throw;
    } catch (std::exception const& error) {
        report(text_of(error));
        if (!is_request) return;
        send(Message::fault(no_answer, text_of(error)), client, header);
    }
}

/// Writes a line feed also after a text that fails halfway.
void Server::print(Message& message, Tm_header const& header) {
    if (!form_) return;
    writing_.seq_no = header.get_seq_no();
    writing_.port = header.get_tmport();
    if (has_wire_names(*form_)) prepare_names(message, Names::as_received);
    std::size_t const before = output_size();
    try {
        write_message(message, *form_, writing_);
    } catch (std::exception const&) {
        if (output_size() != before) end_message();
        throw;
    }
    end_message();
}

void Server::end_message() const {
    if (is_text(*form_)) write_output("\n");
    flush_output();
}

/// Sends the message. When there are too many unsent bytes then, drops other clients that have
/// unsent bytes, the longest idle one first.
void Server::send(Message const& message, Client& client, Tm_header const& header) {
    client.send(message, header.get_seq_no(), static_cast<unsigned char>(header.get_tmport()));
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

/// Replies to a request. Without a reply of the user, makes the request a response without group 0
/// and sends it back.
void Server::answer(Message& request, Client& client, Tm_header const& header) {
    if (reply_ != nullptr) return send(*reply_, client, header);
    request.set_msg_type(Message::TMT_RESPONSE);
    request.clear(Message::TMG_META);
    prepare_names(request, Names::as_received);
    send(request, client, header);
}
