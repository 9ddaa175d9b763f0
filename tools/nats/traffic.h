/// Shows the payloads of calls over NATS as they pass. docs/scaling.md describes them.
#pragma once

#include <tmsg/tmsg.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "net/capture_file.h"
#include "net/traffic_lines.h"

/// A payload of NATS with its subjects. `reply` may be empty.
struct Nats_payload {
    std::string_view subject;
    std::string_view reply;
    std::string_view data;
};

/// A large message whose chunks pass.
class Nats_large {
public:
    explicit Nats_large(Tm_limits const& limits);

    /// Takes a chunk. Does nothing after an error.
    void take(std::uint32_t position, std::string_view chunk);
    /// Returns the message when it is whole. The caller must remove the files that it brought.
    std::unique_ptr<Message> message() { return std::move(message_); }
    /// Returns the error once, or an empty text.
    std::string error();
    std::size_t bytes() const { return bytes_; }
    std::uint64_t last_used = 0;

private:
    std::unique_ptr<Message> message_;
    std::string error_;
    bool is_over_ = false;
    std::uint32_t next_ = 0;
    std::size_t bytes_ = 0;
    Tm_chunk_receiver receiver_;
};

/// Prints a line for each payload, and for each large message when its last chunk has passed. Saves
/// the chunks of each caller in files.
class Nats_traffic {
public:
    Nats_traffic(Traffic_lines& lines, Capture_folder captures, Tm_limits const& limits)
        : lines_(lines), captures_(std::move(captures)), limits_(limits) {}

    /// Takes a payload at the subject that is watched.
    void take_at_subject(Nats_payload const& payload);
    /// Takes a payload at an inbox. Ignores those of calls at other subjects.
    void take_at_inbox(Nats_payload const& payload);

private:
    using Clock = Traffic_lines::Clock;

    struct Caller {
        int number = 0;
        std::uint64_t last_used = 0;
        Capture_file to_upstream;
        Capture_file to_client;
    };
    /// A call, which its reply subject identifies.
    struct Call {
        std::string inbox;  ///< of the caller
        unsigned int seq_no = 0;
        std::string method;
        std::optional<Clock::time_point> begin;
        bool is_answered = false;
        std::string peer;  ///< the last subject of a worker in the call
        std::unique_ptr<Nats_large> request;
        std::unique_ptr<Nats_large> answer;
    };

    Caller& caller_of(std::string const& inbox);
    Call* find(std::string_view reply);
    Call& call_of(std::string_view reply);
    Call* call_at(std::string_view peer);
    std::unique_ptr<Nats_large>& large_of(Call& call, Direction direction);
    void make_room();

    void take(Call& call, Direction direction, Nats_payload const& payload,
              std::optional<std::uint32_t> position);
    void take_whole(Call& call, Direction direction, std::string_view chunk);
    void take_chunk(Call& call, Direction direction, std::uint32_t position,
                    std::string_view chunk);
    void save(Call const& call, Direction direction, std::string_view chunk);
    void show(Call& call, Direction direction, Message& message, std::size_t bytes);
    void write(Call const& call, Direction direction, std::string const& text);
    void write_damage(Call const& call, Direction direction, std::string const& text);

    Traffic_lines& lines_;
    Capture_folder captures_;
    Tm_limits limits_;
    int last_ = 0;  ///< the number of the last caller
    std::uint64_t uses_ = 0;
    std::map<std::string, Caller> callers_;  ///< by inbox
    std::map<std::string, Call, std::less<>> calls_;
    std::deque<std::string> order_;  ///< the reply subjects of the calls, the oldest one first
};
