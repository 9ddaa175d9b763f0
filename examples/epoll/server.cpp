/// Serves any number of clients on one thread, with sockets that do not block.

#include <iostream>
#include <map>
#include <memory>

#include "../arguments.h"
#include "../files.h"
#include "../stop_signals.h"
#include "connection.h"

namespace {

constexpr auto body = Message::TMG_BODY;
/// The code of the answer to a message that cannot be decoded. Tm_service uses 1 and 2.
constexpr int broken_message = 3;
/// The server reads no requests of a client while so many answers wait to be sent to it.
constexpr std::size_t most_answers = 1000;

char const usage[] =
    "Usage: tmsg_epoll_server [--port PORT]\n"
    "Answers calls of demo.sum and demo.check at PORT of this machine, or at a free one, which it\n"
    "prints. SIGINT and SIGTERM end it. Also: --help, --version.\n";

Message sum(Message const& request) {
    Message answer;
    answer.add_member(body, "sum",
                      request.get_member_int32(body, "a") + request.get_member_int32(body, "b"));
    return answer;
}

Message check(Message const& request) {
    Tm_file const& file = *request.get_member_file(body, "file");
    Message answer;
    answer.add_member(body, "size", file.size());
    answer.add_member(body, "crc32", crc_of(file));
    return answer;
}

class Server {
public:
    explicit Server(unsigned short port);

    unsigned short port() const;
    /// Serves until a signal comes.
    void run();

private:
    void accept();
    void serve(int socket, std::uint32_t events);
    void watch(int descriptor) const;

    Tm_service service_;
    Tm_chunk_receiver receiver_;
    Descriptor epoll_;
    Descriptor acceptor_;
    Descriptor stop_;
    std::map<int, Connection> connections_;  ///< by socket
};

Server::Server(unsigned short port)
    : receiver_(
          [this](std::unique_ptr<Message> request, int socket, Tm_header const& header) {
              Message answer = service_.answer(*request);
              tm_remove_received_files(*request);
              connections_.at(socket).send(std::move(answer), header.get_seq_no(),
                                           header.get_tmport());
          },
          [this](int socket, unsigned int seq_no, std::string const& text) {
              connections_.at(socket).send(Message::fault(broken_message, text), seq_no, 0);
          }),
      epoll_(checked(::epoll_create1(EPOLL_CLOEXEC), "cannot wait for events")),
      acceptor_(checked(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0),
                        "cannot make a socket")),
      stop_(checked(open_stop_signals(), "cannot wait for signals")) {
    service_.on("demo.sum", sum);
    service_.on("demo.check", check);
    sockaddr_in const address = loopback(port);
    auto const* const any_address = reinterpret_cast<sockaddr const*>(&address);
    bool const listens = ::bind(acceptor_.get(), any_address, sizeof address) == 0 &&
                         ::listen(acceptor_.get(), SOMAXCONN) == 0;
    if (!listens) fail("cannot listen");
    watch(acceptor_.get());
    watch(stop_.get());
}

unsigned short Server::port() const {
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    ::getsockname(acceptor_.get(), reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

void Server::watch(int descriptor) const {
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    ::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, descriptor, &event);
}

void Server::run() {
    for (;;) {
        epoll_event events[64];
        int const count = ::epoll_wait(epoll_.get(), events, 64, -1);
        for (int i = 0; i < count; ++i) {
            int const descriptor = events[i].data.fd;
            if (descriptor == stop_.get()) return;
            if (descriptor == acceptor_.get()) {
                accept();
            } else {
                serve(descriptor, events[i].events);
            }
        }
    }
}

void Server::accept() {
    int const socket = ::accept4(acceptor_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (socket >= 0)
        connections_.try_emplace(socket, socket, epoll_.get(), receiver_, most_answers);
}

/// What goes wrong with one client does not change the others.
void Server::serve(int socket, std::uint32_t events) {
    auto const connection = connections_.find(socket);
    if (connection == connections_.end()) return;
    try {
        if (connection->second.go_on(events)) return;
    } catch (std::exception const& error) {
        std::cerr << "tmsg_epoll_server: a client was dropped: " << error.what() << std::endl;
    }
    connections_.erase(connection);
}

}  // namespace

int main(int argc, char** argv) {
    Arguments const arguments = read_arguments(argc, argv, "port", usage);
    if (!arguments.rest.empty()) refuse_arguments("no arguments but options are known");
    try {
        Server server(arguments.value == nullptr ? 0 : read_port(arguments.value));
        std::cout << server.port() << std::endl;
        server.run();
        std::cout << "server: at most " << peak_memory() << " KiB of memory" << std::endl;
        return 0;
    } catch (std::exception const& error) {
        std::cerr << "tmsg_epoll_server: " << error.what() << '\n';
        return 1;
    }
}
