/// Calls over NATS.
#include <algorithm>
#include <mutex>
#include <utility>

#include "io/system.h"
#include "nats/connection.h"
#include "nats/over_nats.h"
#include "nats/waiting.h"
#include "net/connection.h"
#include "net/poll.h"

namespace {

using Clock = std::chrono::steady_clock;
using Lock = std::unique_lock<std::mutex>;

Tm_nats_caller_options options_of(Load_plan const& plan) {
    Nats_place const place = parse_nats(plan.address);
    Tm_nats_caller_options options;
    set_place(place, options);
    options.subject = place.subject;
    options.limits = plan.limits;
    if (plan.chunk_size_over_nats > 0) options.chunk_size = plan.chunk_size_over_nats;
    auto const timeout = std::chrono::duration<double>(plan.timeout);
    auto const longest = std::chrono::duration_cast<std::chrono::milliseconds>(timeout);
    options.connect_timeout =
        std::clamp(longest, std::chrono::milliseconds(1), options.connect_timeout);
    return options;
}

/// The threads of the caller let the main thread take the signals.
std::unique_ptr<Tm_nats_caller> connect(Load_plan const& plan) {
    hold_standard_descriptors();
    Blocked_signals const blocked;
    return std::make_unique<Tm_nats_caller>(options_of(plan));
}

std::string no_answer_text(Load_plan const& plan, std::string const& why) {
    return "no answer from " + parse_nats(plan.address).name() + ": " + why;
}

/// The result of one call, which a thread of libnats sets.
class Result {
public:
    explicit Result(Temporary_files& files) : files_(files) {}

    void set(std::unique_ptr<Message> answer, std::string const& why) {
        Lock const lock(mutex_);
        if (answer != nullptr) files_.add(*answer);
        answer_ = std::move(answer);
        why_ = why;
        is_set_ = true;
        wake_.set();
    }
    /// Throws Interrupted.
    void wait() {
        while (!is_set()) {
            if (!wake_.wait(long_time)) throw Interrupted();
        }
    }
    std::unique_ptr<Message> take() { return std::move(answer_); }
    std::string const& why() const { return why_; }

private:
    bool is_set() {
        Lock const lock(mutex_);
        return is_set_;
    }

    Wake wake_;
    std::mutex mutex_;
    Temporary_files& files_;
    std::unique_ptr<Message> answer_;
    std::string why_;
    bool is_set_ = false;
};

/// Many calls. The main thread begins them, and threads of libnats end them.
class Nats_load {
public:
    explicit Nats_load(Load_plan const& plan) : plan_(plan) {}

    Load_result run() {
        auto const caller = connect(plan_);
        auto const begin = Clock::now();
        for (std::size_t begun = 0, ended = 0; ended < plan_.calls; ended = this->ended()) {
            for (; begun < plan_.calls && begun - ended < plan_.parallel; ++begun) start(*caller);
            if (!wake_.wait(long_time)) throw Interrupted();
        }
        result_.time = Clock::now() - begin;
        return std::move(result_);
    }

private:
    std::size_t ended() {
        Lock const lock(mutex_);
        return ended_;
    }
    void start(Tm_nats_caller& caller) {
        Message request = *plan_.request;
        Deadline const deadline(plan_.timeout);
        auto const begin = Clock::now();
        caller.start(std::move(request), deadline.end(),
                     [this, begin](std::unique_ptr<Message> answer, std::string const& why) {
                         take(begin, answer.get(), why);
                     });
    }
    void take(Clock::time_point begin, Message const* answer, std::string const& why) {
        auto const latency = Clock::now() - begin;
        Temporary_files files;
        Lock const lock(mutex_);
        ++ended_;
        wake_.set();
        if (answer == nullptr) return count_error(no_answer_text(plan_, why));
        files.add(*answer);
        result_.latencies.push_back(latency);
        if (answer->get_msg_type() != Message::TMT_FAULT) return;
        count_error(text_of_fault(*answer));
    }
    void count_error(std::string const& error) {
        if (result_.errors == 0) result_.first_error = error;
        ++result_.errors;
    }

    Load_plan const& plan_;
    Wake wake_;
    std::mutex mutex_;  ///< for the members below
    Load_result result_;
    std::size_t ended_ = 0;
};

}  // namespace

void check_nats_is_built(std::string const&) {}

std::unique_ptr<Message> call_over_nats(Load_plan const& plan, Temporary_files& files) {
    Deadline const deadline(plan.timeout);
    Result result(files);
    // When it is destroyed, no thread uses the result any more.
    auto caller = connect(plan);
    caller->start(*plan.request, deadline.end(),
                  [&result](std::unique_ptr<Message> answer, std::string const& why) {
                      result.set(std::move(answer), why);
                  });
    result.wait();
    caller.reset();
    auto answer = result.take();
    if (answer == nullptr) throw Failure(no_answer_text(plan, result.why()));
    return answer;
}

Load_result load_over_nats(Load_plan const& plan) { return Nats_load(plan).run(); }
