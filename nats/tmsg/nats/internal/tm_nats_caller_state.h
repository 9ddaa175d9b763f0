/// What a caller holds, and the threads on which its operations run.
#pragma once

#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tmsg/nats/internal/tm_nats_frames.h"
#include "tmsg/nats/internal/tm_nats_link.h"
#include "tmsg/nats/internal/tm_nats_number.h"
#include "tmsg/nats/internal/tm_nats_transfer.h"
#include "tmsg/nats/tm_nats_caller.h"
#include "tmsg/rpc/tm_caller.h"

class TMSG_LOCAL Tm_nats_caller::State {
public:
    using Clock = std::chrono::steady_clock;
    using Lock = std::unique_lock<std::mutex>;
    using milliseconds = std::chrono::milliseconds;

    explicit State(Tm_nats_caller_options options);
    State(State const&) = delete;
    State& operator=(State const&) = delete;
    ~State();

    std::unique_ptr<Message> call(Message const& request, time_point deadline, std::string* why);
    void start(Message request, time_point deadline, Answer_handler on_answer);
    std::size_t waiting() const {
        Lock const lock(mutex_);
        return caller_.waiting();
    }
    Tm_nats_caller_counters counters() const;
    bool is_connected() const { return link_->is_connected(); }

private:
    /// A call that waits. The mutex of the caller is for all members but the first five, which do
    /// not change.
    struct Call {
        unsigned int seq_no = 0;
        std::uint64_t number = 0;
        std::string reply;  ///< the subject for its answers
        Message const* request = nullptr;
        Tm_nats_caller::Answer_handler on_answer;  ///< empty for call()

        std::unique_ptr<Message> own;     ///< the request of start()
        std::condition_variable changed;  ///< for call()
        Clock::time_point deadline;
        unsigned int tries = 0;
        bool is_paused = false;
        milliseconds pause{0};
        Clock::time_point due;  ///< the next try after a pause, else the end of patience
        std::optional<Clock::time_point> alarm;  ///< `due` as the alarms have it
        std::shared_ptr<Tm_nats_sending> sending;
        bool is_sent = false;
        std::string peer;  ///< the service that takes the large request
        std::shared_ptr<Tm_nats_receiving> receiving;

        bool is_done = false;
        std::unique_ptr<Message> answer;
        std::string why;
        std::exception_ptr failure;
        std::shared_ptr<Call> next;  ///< in the list of calls that are done

        /// A thread waits in call().
        bool has_thread() const { return !on_answer; }
    };
    using Pointer = std::shared_ptr<Call>;

    struct Numbers {
        Tm_nats_number calls{0};
        Tm_nats_number answered{0};
        Tm_nats_number unanswered{0};
        Tm_nats_number retries{0};
        Tm_nats_number late{0};
        Tm_nats_number bad_payloads{0};
        Tm_nats_number bytes_received{0};
    };

    /// What a call leaves behind at the end of a try. To be ended without the mutex.
    struct Remains {
        std::shared_ptr<Tm_nats_sending> sending;
        std::string peer;  ///< the service that did not get the whole request
        std::shared_ptr<Tm_nats_receiving> receiving;
    };

    void begin(Pointer const& call);
    void make_first_try(Pointer const& call);
    void make_try(Pointer const& call);
    void wait_for_end(Pointer const& call);
    bool is_ready(Call& call);
    void send(Call& call);
    void step(Pointer const& call);
    void fail_try(Call& call, std::string why);
    void fail(Call& call, std::exception_ptr failure);
    void end(Remains const& remains);
    void tell_done(Pointer first);
    void refuse(std::string const& peer, std::string_view why);

    // These need the mutex.
    Remains end_try(Call& call, std::string why);
    Remains drop_transfers(Call& call) noexcept;
    void set_due(Call& call, time_point due);
    void clear_alarm(Call& call);
    void look_no_later_than(time_point time);
    void give_up(Call& call);
    void conclude(Call& call, std::unique_ptr<Message> answer) noexcept;
    Pointer find(std::uint64_t number) const;

    // On the thread of the inbox.
    void on_inbox(Tm_nats_message const& message);
    void on_stray(Tm_nats_place const& place, Tm_nats_message const& message);
    void on_answer(Call& call, std::string_view payload);
    void take(Call& call, std::unique_ptr<Message> answer);
    void on_chunk(Call& call, std::uint32_t position, Tm_nats_message const& message);
    void on_control(Pointer const& call, Tm_nats_control const& control, std::string const& from);
    void on_credit(Pointer const& call, std::uint32_t allowed, std::string const& from);
    void on_no_responders(Call& call);

    void on_reconnected();
    // On the thread of the time.
    void watch_time();
    void do_what_is_due(Lock& lock);
    void wait_for_next(Lock& lock);

    Tm_nats_caller_options const options_;
    Numbers numbers_;

    mutable std::mutex mutex_;
    Tm_caller caller_;
    std::unordered_map<unsigned int, Pointer> calls_;  ///< those that wait in caller_
    std::uint64_t rounds_ = 0;  ///< how often the sequence numbers began again
    unsigned int last_seq_no_ = 0;
    Pointer done_;  ///< the first one of a list; still to be told
    std::set<std::pair<time_point, unsigned int>> alarms_;  ///< of the calls of start()
    time_point next_look_ = time_point::max();              ///< of the thread of the time
    std::condition_variable look_earlier_;
    std::minstd_rand random_{std::random_device{}()};
    bool is_ending_ = false;

    Tm_nats_whole_sender whole_;
    std::unique_ptr<Tm_nats_link> link_;
    std::unique_ptr<Tm_nats_link::Subscription> inbox_;
    std::thread time_;
};
