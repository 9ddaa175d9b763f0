/// Calls methods of the services at a NATS subject, see Tm_nats_service.
///
///     Tm_nats_caller_options options;
///     options.servers = {"nats://10.0.0.1:4222"};
///     options.subject = "stock";
///     Tm_nats_caller caller(options);
///     std::string why;
///     auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
///     std::unique_ptr<Message> answer = caller.call(request, deadline, &why);
///     answer != nullptr ? use(*answer) : report(why);
///
/// The caller tries again until the deadline when no service is there, when a service refuses the
/// request or stops giving signs of life, and when the connection was lost. It waits between two
/// tries, a little longer each time. So a method may run more than once for one call: all tries
/// have the same Tm_nats_request::id. The call gets one answer. Answers that come late or twice are
/// counted, and their files are removed. A fault is an answer.
///
/// A call without an answer says nothing about whether a method ran.
///
/// Any number of threads may use one caller at a time. Handlers of start() run on threads of the
/// caller: they must not wait, must not call call(), and must not destroy the caller. They may call
/// start(). No thread may be in call() when the caller is destroyed.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "tmsg/export.h"
#include "tmsg/message/message.h"
#include "tmsg/nats/tm_nats_options.h"

struct Tm_nats_caller_options : Tm_nats_connection, Tm_nats_transfer_options {
    std::string subject;
    /// The most tries of one call. 0 means any number until the deadline.
    unsigned int max_tries = 0;
    /// Before the second try. Each further pause is twice as long, up to the longest one.
    std::chrono::milliseconds first_pause{20};
    std::chrono::milliseconds longest_pause{1000};
};

/// Numbers since the start.
struct Tm_nats_caller_counters {
    std::uint64_t calls = 0;
    std::uint64_t answered = 0;      ///< calls that got an answer, faults included
    std::uint64_t unanswered = 0;    ///< calls that ended without an answer
    std::uint64_t retries = 0;       ///< tries after the first one of a call
    std::uint64_t late = 0;          ///< answers that came late or twice
    std::uint64_t bad_payloads = 0;  ///< neither answers nor chunks, or chunks out of place
    std::uint64_t bytes_sent = 0;
    std::uint64_t bytes_received = 0;
};

class TMSG_API Tm_nats_caller {
public:
    using time_point = std::chrono::steady_clock::time_point;
    /// Gets the answer and owns it, or null and the reason.
    using Answer_handler =
        std::function<void(std::unique_ptr<Message> answer, std::string const& why)>;

    /// Connects. Throws Tm_nats_exception when no server can be reached, when none accepts the
    /// options, and for invalid options.
    explicit Tm_nats_caller(Tm_nats_caller_options options);
    Tm_nats_caller(Tm_nats_caller const&) = delete;
    Tm_nats_caller& operator=(Tm_nats_caller const&) = delete;
    /// Calls the handlers of all waiting calls, with null for the answer.
    ~Tm_nats_caller();

    /// Sends the request, and waits for the answer. Returns null when none came before the
    /// deadline, or when there were too many tries, and then sets `why` unless it is null.
    /// The port of `request.header` travels with the request. The caller of call() removes the
    /// files that the answer brought (tm_remove_received_files()).
    /// Throws what Tm_chunk_source throws. When a server takes no bytes, call() may return later
    /// than the deadline, by at most `write_timeout` and `connect_timeout` together: libnats holds
    /// up a thread that publishes when it finds the connection lost.
    std::unique_ptr<Message> call(Message const& request, time_point deadline,
                                  std::string* why = nullptr);

    /// Does the same without waiting. The handler is called once, maybe before start() returns.
    /// Exceptions of handlers are dropped. Throws what Tm_chunk_source throws, and Tm_exception for
    /// an empty handler; then the handler is not called. When a file cannot be read later, the
    /// handler gets null and the text.
    void start(Message request, time_point deadline, Answer_handler on_answer);

    /// Returns the number of calls that wait.
    std::size_t waiting() const;
    Tm_nats_caller_counters counters() const;
    /// Returns whether there is a connection to a server at the moment.
    bool is_connected() const;

private:
    class State;
    std::unique_ptr<State> state_;
};
