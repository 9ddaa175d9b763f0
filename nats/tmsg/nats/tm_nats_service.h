/// Works on requests that arrive over NATS. All services with one subject and one group, in any
/// number of processes and machines, share the requests: each request goes to one of them.
///
///     Tm_nats_service_options options;
///     options.servers = {"nats://10.0.0.1:4222", "nats://10.0.0.2:4222"};
///     options.subject = "stock";
///     Tm_nats_service service(options);
///     service.on("stock.reserve", reserve);  // as in Tm_service
///     service.start();
///     wait_for_a_signal();
///     service.drain(std::chrono::seconds(10));
///
/// A caller that gets no sign of life repeats its request, and another service may get the
/// repetition. So a method can run twice for one request, even at the same time on two machines.
/// All tries have the same Tm_nats_request::id. examples/nats/seen.h is a table of such requests.
///
/// Methods run on the threads of the service. Several run at a time, unless Tm_nats_service_options
/// says one thread. They must not call operations of the service. Any thread may call counters()
/// and is_connected() at any time. All other operations, and the destructor, are for one thread at
/// a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "tmsg/export.h"
#include "tmsg/message/message.h"
#include "tmsg/nats/tm_nats_options.h"
#include "tmsg/rpc/tm_service.h"

struct Tm_nats_service_options : Tm_nats_connection, Tm_nats_transfer_options {
    std::string subject;
    std::string group = "workers";
    /// How many requests the service works on at a time. 1 to 1000.
    unsigned int threads = 2;
    /// The most requests, and the most bytes of them, that wait for a thread. The service refuses
    /// further ones, and their callers try again.
    std::size_t max_waiting = 10'000;
    std::size_t max_waiting_bytes = 64UL << 20;
    /// The most large requests that arrive, wait or are worked on at a time. Also the most large
    /// answers that are under way. At least 1.
    std::size_t max_transfers = 16;
    /// A request that is not answered after this time gets a sign of life, and then further ones.
    /// It must be well below `silence` of the callers.
    std::chrono::milliseconds beat{500};
};

/// What a method can know about a request apart from its content.
struct Tm_nats_request {
    /// The same for all tries of a request, and different for all other requests. It is valid
    /// during the call of the method. It is empty when nobody waits for the answer.
    std::string_view id;
};

/// Numbers since the start. The last two are those of the moment.
struct Tm_nats_service_counters {
    std::uint64_t received = 0;       ///< whole requests, repeated and refused ones included
    std::uint64_t answered = 0;       ///< answers that were sent as a whole, faults included
    std::uint64_t faults = 0;         ///< answers that are faults
    std::uint64_t bad_payloads = 0;   ///< neither messages nor chunks, or chunks out of place
    std::uint64_t refused = 0;        ///< requests whose callers were told to try again
    std::uint64_t unused_claims = 0;  ///< large requests of which no chunk came
    std::uint64_t lost = 0;  ///< requests that did not arrive whole, and answers not sent whole
    std::uint64_t bytes_received = 0;
    std::uint64_t bytes_sent = 0;
    std::uint64_t in_work = 0;    ///< requests that wait or are worked on
    std::uint64_t transfers = 0;  ///< large requests and answers that are under way
};

class TMSG_API Tm_nats_service {
public:
    using Method = Tm_service::Method;
    using Method_with_id =
        std::function<Message(Message const& request, Tm_nats_request const& about)>;

    /// The code of the fault for a request that cannot be decoded. Tm_service uses 1 and 2.
    static constexpr int BAD_PAYLOAD = 3;

    /// Throws Tm_nats_exception for invalid options. Does not connect.
    explicit Tm_nats_service(Tm_nats_service_options options);
    Tm_nats_service(Tm_nats_service const&) = delete;
    Tm_nats_service& operator=(Tm_nats_service const&) = delete;
    /// Calls stop().
    ~Tm_nats_service();

    /// They do what the operations of Tm_service do, and throw Tm_nats_exception after start().
    /// When a method returns a request, the answer is a fault with the code
    /// Tm_service::METHOD_FAILED. After the answer is sent, the service removes the files that the
    /// request brought. A method that wants to keep such a file moves it.
    void on(std::string name, Method method);
    void on(std::string name, Method_with_id method);
    void on_any(Method method);
    void on_any(Method_with_id method);

    /// Connects, begins the threads and joins the group. Throws Tm_nats_exception when no server
    /// can be reached, when none accepts the options, and when the service has been started before.
    /// libnats connects again when the connection is lost later.
    void start();

    /// Leaves the group, finishes all requests that it has got, and answers them. When the time is
    /// too short for that, drops the rest and returns false. Also returns false when the server did
    /// not confirm that it got the answers. At the end it does what stop() does, which may take
    /// longer.
    bool drain(std::chrono::milliseconds time);

    /// Leaves the group, waits for the methods that run, drops all other requests, removes their
    /// files and closes the connection. The callers of dropped requests try another service. Does
    /// nothing before start() and after the first stop().
    void stop();

    Tm_nats_service_counters counters() const;
    /// Returns whether there is a connection to a server at the moment.
    bool is_connected() const;

private:
    class State;
    std::unique_ptr<State> state_;
};
