/// Sends the same request many times, over many connections at once, and measures the calls.
#pragma once

#include <ace/INET_Addr.h>
#include <ace/SOCK_Stream.h>
#include <poll.h>
#include <tmsg/tmsg.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

struct Load_plan {
    std::string address;  ///< HOST:PORT, or nats://HOST:PORT/SUBJECT
    Message const* request = nullptr;
    int chunk_size = 4096;
    std::size_t chunk_size_over_nats = 0;  ///< the usual one of the library when 0
    std::size_t calls = 1;
    std::size_t parallel = 1;  ///< connections
    double timeout = 10;       ///< seconds for each call
    Tm_limits limits;
};

struct Load_result {
    /// The times from the first byte of a request to the last byte of its response or fault.
    std::vector<std::chrono::nanoseconds> latencies;
    std::size_t errors = 0;   ///< calls without an answer or with a fault
    std::string first_error;  ///< empty when there was none
    std::chrono::nanoseconds time{0};
};

/// Returns "fault CODE: TEXT".
std::string text_of_fault(Message const& answer);

/// Makes the calls on one thread. Each connection carries one call at a time. It stays open for the
/// next call unless a call fails.
class Load {
public:
    /// The plan must outlive the load. Throws Failure for an unknown address.
    explicit Load(Load_plan const& plan);

    /// Throws Interrupted, and Failure when waiting fails.
    Load_result run();

private:
    using Clock = std::chrono::steady_clock;

    enum class State { closed, idle, connecting, sending, receiving };

    /// A connection with at most one call.
    struct Line {
        ~Line() { stream.close(); }

        int number = 0;
        ACE_SOCK_Stream stream;
        State state = State::closed;
        unsigned int seq_no = 0;
        Clock::time_point begin;
        std::unique_ptr<Tm_chunk_source> source;
        unsigned char const* chunk = nullptr;  ///< the rest of a chunk that is being sent
        std::size_t size = 0;
    };

    bool wait(std::vector<pollfd>& handles) const;
    void begin_calls();
    void begin(Line& line);
    void begin_sending(Line& line);
    void go_on(Line& line);
    void send(Line& line);
    void receive(Line& line);
    void take(Line& line, std::unique_ptr<Message> answer);
    void fail(Line& line, std::string const& error);
    void close(Line& line);
    void count_error(std::string const& error);

    Load_plan const& plan_;
    ACE_INET_Addr address_;
    std::deque<Line> lines_;
    Tm_caller caller_;
    Tm_chunk_receiver receiver_;
    std::size_t begun_ = 0;
    Load_result result_;
};
