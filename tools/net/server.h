/// Serves any number of clients on one thread. No client keeps the others waiting.
#pragma once

#include <poll.h>

#include <chrono>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "forms/writer.h"
#include "net/answering.h"
#include "net/client.h"
#include "net/listener.h"

class Server {
public:
    /// The largest number of clients at a time. A limit on descriptors can make it smaller.
    static constexpr std::size_t most_clients = 8192;
    /// A client that takes no byte of its reply for this time is dropped.
    static constexpr std::chrono::seconds patience = std::chrono::seconds(2);
    /// The most unsent bytes of all replies. When there are more, the server drops clients that
    /// have unsent bytes, the longest idle one first.
    static constexpr std::size_t most_unsent = 1UL << 28;

    using Method = Answer_method;

    /// Listens at `place`. Replies to each request with its own body. Throws Failure.
    Server(Endpoint const& place, Tm_limits const& limits);

    unsigned short port() const { return listener_.port(); }
    /// Returns "HOST:PORT" in numbers.
    std::string name() const { return listener_.name(); }

    /// Makes the server print each message in this form. Without this call it prints none.
    void print_as(Form form, Writing const& writing) { printer_.print_as(form, writing); }
    /// Makes the server reply to each request with the result of this method.
    void answer_with(Method method);
    /// Makes each reply wait for this time.
    void delay_by(std::chrono::milliseconds time) { delay_ = time; }
    /// Makes the server close each connection that is idle for this time.
    void close_after(double seconds);

    /// Serves until SIGINT, SIGTERM or SIGHUP comes. Throws Failure when waiting fails, and what
    /// writing output throws.
    void run();

private:
    using Clock = Client::Clock;
    using Clients = std::list<Client>;

    bool wait(std::vector<pollfd>& handles);
    void send_due();
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
    void send(Message const& message, Client& client, Tm_header const& header);
    void answer(Message& request, Client& client, Tm_header const& header);

    Listener listener_;
    std::size_t places_;
    Clients clients_;  ///< the longest idle one first
    std::unordered_map<int, Clients::iterator> by_handle_;
    Tm_chunk_receiver receiver_;
    Clock::time_point next_house_keeping_;
    Clock::duration most_idle_ = Clock::duration::max();
    Message_printer printer_;
    Tm_service service_;
    /// The request that service_ is replying to. It passes a const request to the method, which may
    /// change this one.
    Message* lent_ = nullptr;
    std::chrono::milliseconds delay_{0};
    /// The clients whose replies wait. The first one has the earliest time.
    std::deque<std::pair<Clock::time_point, int>> delayed_;
};
