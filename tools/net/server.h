/// Serves any number of clients on one thread. No client keeps the others waiting.
#pragma once

#include <ace/SOCK_Acceptor.h>
#include <poll.h>

#include <chrono>
#include <list>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "forms/writer.h"
#include "net/client.h"

class Server {
public:
    /// The largest number of clients at a time. A limit on descriptors can make it smaller.
    static constexpr std::size_t most_clients = 8192;
    /// A client that takes no byte of its reply for this time is dropped.
    static constexpr std::chrono::seconds patience = std::chrono::seconds(2);
    /// The most unsent bytes of all replies. When there are more, the server drops clients that
    /// have unsent bytes, the longest idle one first.
    static constexpr std::size_t most_unsent = 1UL << 28;

    /// Listens on the loopback address. With port 0, listens on a free port. Throws Failure.
    Server(unsigned short port, Tm_limits const& limits);
    ~Server();

    unsigned short port() const;

    /// Makes the server print each message in this form. Without this call it prints none.
    void print_as(Form form, Writing const& writing);
    /// Makes the server send this reply to every request. With null, it replies with the request's
    /// own body. The caller owns the reply, which must outlive the server.
    void answer_with(Message const* reply) { reply_ = reply; }
    /// Makes the server close each connection that is idle for this time.
    void close_after(double seconds);

    /// Serves until SIGINT, SIGTERM or SIGHUP comes. Throws Failure when standard output fails.
    void run();

private:
    using Clock = Client::Clock;
    using Clients = std::list<Client>;

    bool wait(std::vector<pollfd>& handles);
    std::vector<pollfd> watched() const;
    Clock::duration longest_wait() const;
    void serve_ready(std::vector<pollfd> const& handles);
    void accept_all();
    bool accept();
    bool make_room();
    void serve(Clients::iterator client);
    void drop(Clients::iterator client);
    void drop_unsent(Clients::iterator client);
    void retire(Clients::iterator client);
    void drop_idle();
    void drop_stalled();
    void keep_house();
    void take(std::unique_ptr<Message> message, int handle, Tm_header const& header);
    void print(Message& message, Tm_header const& header);
    void end_message() const;
    void send(Message const& message, Client& client, Tm_header const& header);
    void answer(Message& request, Client& client, Tm_header const& header);

    ACE_SOCK_Acceptor acceptor_;
    std::size_t places_;
    Clients clients_;  ///< the longest idle one first
    std::unordered_map<int, Clients::iterator> by_handle_;
    Tm_chunk_receiver receiver_;
    Clock::time_point next_accept_;  ///< the server accepts no connection before this time
    Clock::time_point next_house_keeping_;
    Clock::duration most_idle_ = Clock::duration::max();
    std::optional<Form> form_;
    Writing writing_;
    Message const* reply_ = nullptr;
};
