#include "server.h"

#include <ace/INET_Addr.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <exception>
#include <new>

#include "failure.h"
#include "interrupt.h"
#include "output.h"
#include "temporary_files.h"
#include "write_message.h"

namespace {

/// How long one client may keep all others waiting, in seconds.
constexpr double patience = 2;
/// Time between two collections of garbage, in seconds.
constexpr int interval = 1;
/// More must wait until others have gone.
constexpr std::size_t most_clients = 500;
constexpr int answer_chunk_size = 4096;
/// The code of the fault that goes in the place of an answer that cannot be made.
constexpr int no_answer = 1;

/// Signals come while the server waits for events, and not between asking for them and waiting, so
/// that none is missed.
class Blocked_signals {
public:
    Blocked_signals() {
        sigset_t blocked;
        sigemptyset(&blocked);
        for (int const number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&blocked, number);
        sigprocmask(SIG_BLOCK, &blocked, &before_);
    }
    ~Blocked_signals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
    Blocked_signals(Blocked_signals const&) = delete;
    Blocked_signals& operator=(Blocked_signals const&) = delete;

    /// The mask to wait with.
    sigset_t const& before() const { return before_; }

private:
    sigset_t before_;
};

}  // namespace

Server::Server(unsigned short port, Tm_limits const& limits)
    : receiver_([this](std::unique_ptr<Message> message, int client,
                       Tm_header const& header) { take(std::move(message), client, header); },
                [](int, unsigned int, std::string const& text) { report(text); }, limits) {
    ACE_INET_Addr const address(port, "127.0.0.1");
    if (acceptor_.open(address, 1) != 0) {
        throw Failure::of_system("failed to listen on port " + std::to_string(port));
    }
}

Server::~Server() { acceptor_.close(); }

unsigned short Server::port() const {
    ACE_INET_Addr address;
    acceptor_.get_local_addr(address);
    return address.get_port_number();
}

void Server::run() {
    Deadline collection(interval);
    try {
        for (std::vector<pollfd> handles; wait(handles);) {
            serve_ready(handles);
            if (collection.left() != ACE_Time_Value::zero) continue;
            receiver_.collect_garbage();
            collection = Deadline(interval);
        }
    } catch (Interrupted const&) {
        // A client was being served when the signal came.
    }
}

/// Until something is ready, or for one interval. False: a signal came.
bool Server::wait(std::vector<pollfd>& handles) {
    Blocked_signals const signals;
    if (is_interrupted()) return false;
    handles = watched();
    timespec const time = {interval, 0};
    if (::ppoll(handles.data(), handles.size(), &time, &signals.before()) >= 0) return true;
    if (errno != EINTR) throw Failure::of_system("failed to wait for clients");
    return !is_interrupted();
}

void Server::serve_ready(std::vector<pollfd> const& handles) {
    for (pollfd const& handle : handles) {
        if (handle.revents == 0) continue;
        if (handle.fd == acceptor_.get_handle()) {
            accept();
        } else {
            read_from(handle.fd);
        }
    }
}

std::vector<pollfd> Server::watched() const {
    std::vector<pollfd> handles;
    if (has_room_ && clients_.size() < most_clients)
        handles.push_back({acceptor_.get_handle(), POLLIN, 0});
    for (auto const& client : clients_) handles.push_back({client.first, POLLIN, 0});
    return handles;
}

void Server::accept() {
    auto client = std::make_unique<Connection>();
    if (acceptor_.accept(client->stream()) != 0) {
        has_room_ = errno != EMFILE && errno != ENFILE;
        if (!has_room_) report(Failure::of_system("failed to accept a client").what());
        return;
    }
    int const handle = client->handle();
    clients_[handle] = std::move(client);
}

void Server::read_from(int client) {
    try {
        if (clients_.at(client)->receive(receiver_, Deadline(patience))) return;
    } catch (Lost_connection const& loss) {
        report(loss.what());
    } catch (std::bad_alloc const& failure) {
        // What this client has sent may be most of it.
        report(text_of(failure));
    }
    receiver_.forget(client);
    clients_.erase(client);
    has_room_ = true;
}

void Server::take(std::unique_ptr<Message> message, int client, Tm_header const& header) {
    Temporary_files files;
    files.add(*message);
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
        Message fault;
        fault.set_msg_type(Message::TMT_FAULT);
        fault.set_fault_code(no_answer);
        fault.set_fault_string(text_of(error));
        send(fault, client, header);
    }
}

void Server::print(Message& message, Tm_header const& header) const {
    Writing writing;
    writing.seq_no = header.get_seq_no();
    writing.port = header.get_tmport();
    if (!is_text(form_)) prepare_names(message, Names::as_received);
    write_message(message, form_, writing);
    if (is_text(form_)) write_output("\n");
    flush_output();
}

void Server::send(Message const& message, int client, Tm_header const& header) {
    clients_.at(client)->send(message, answer_chunk_size, header.get_seq_no(),
                              static_cast<unsigned char>(header.get_tmport()), Deadline(patience));
}

/// The echo is the request itself, made a response without the first group.
void Server::answer(Message& request, int client, Tm_header const& header) {
    if (reply_ != nullptr) return send(*reply_, client, header);
    request.set_msg_type(Message::TMT_RESPONSE);
    request.clear(Message::TMG_META);
    prepare_names(request, Names::as_received);
    send(request, client, header);
}
