/// Begins and ends a caller, and watches the time of its calls.
#include "tmsg/nats/tm_nats_caller.h"

#include <algorithm>

#include "tmsg/nats/internal/tm_nats_caller_state.h"

Tm_nats_caller::State::State(Tm_nats_caller_options options) : options_(std::move(options)) {
    tm_nats_check(options_, options_, options_.subject);
    tm_nats_check_published(options_.subject);
    link_ = std::make_unique<Tm_nats_link>(options_, [this] { on_reconnected(); });
    inbox_ = link_->subscribe(link_->inbox() + ".>", {},
                              [this](Tm_nats_message const& message) { on_inbox(message); });
    time_ = std::thread([this] { watch_time(); });
}

Tm_nats_caller::State::~State() {
    {
        Lock const lock(mutex_);
        is_ending_ = true;
        look_earlier_.notify_all();
    }
    time_.join();
    inbox_.reset();
    link_->close();
    Lock lock(mutex_);
    while (!calls_.empty()) {
        Call& call = *calls_.begin()->second;
        call.why = "the caller ended";
        give_up(call);
    }
    Pointer const done = std::move(done_);
    lock.unlock();
    tell_done(done);
}

/// Lets all calls try again soon, because payloads under way may be lost.
void Tm_nats_caller::State::on_reconnected() {
    Lock const lock(mutex_);
    auto const soon = Clock::now() + options_.first_pause;
    try {
        for (auto const& [seq_no, call] : calls_) {
            if (call->due > soon) set_due(*call, soon);
        }
    } catch (std::bad_alloc const&) {
        // The others try again at their own time.
    }
}

void Tm_nats_caller::State::watch_time() {
    constexpr milliseconds short_of_memory(10);
    Lock lock(mutex_);
    while (!is_ending_) {
        try {
            do_what_is_due(lock);
            wait_for_next(lock);
        } catch (std::bad_alloc const&) {
            if (!lock.owns_lock()) lock.lock();
            look_earlier_.wait_for(lock, short_of_memory);
        }
    }
    lock.unlock();
    nats_ReleaseThreadMemory();
}

void Tm_nats_caller::State::do_what_is_due(Lock& lock) {
    auto const now = Clock::now();
    caller_.expire(now);
    std::vector<Pointer> due;
    for (auto at = alarms_.begin(); at != alarms_.end() && at->first <= now; ++at) {
        due.push_back(calls_.find(at->second)->second);
    }
    Pointer const done = std::move(done_);
    lock.unlock();
    tell_done(done);
    for (Pointer const& call : due) step(call);
    lock.lock();
}

void Tm_nats_caller::State::wait_for_next(Lock& lock) {
    next_look_ = caller_.next_deadline().value_or(time_point::max());
    if (!alarms_.empty()) next_look_ = std::min(next_look_, alarms_.begin()->first);
    if (is_ending_ || next_look_ <= Clock::now()) return;
    auto const is_woken = [&, look = next_look_] { return is_ending_ || next_look_ < look; };
    if (next_look_ == time_point::max()) {
        look_earlier_.wait(lock, is_woken);
    } else {
        look_earlier_.wait_until(lock, time_point(next_look_), is_woken);
    }
}

Tm_nats_caller_counters Tm_nats_caller::State::counters() const {
    Tm_nats_caller_counters all;
    all.calls = numbers_.calls;
    all.answered = numbers_.answered;
    all.unanswered = numbers_.unanswered;
    all.retries = numbers_.retries;
    all.late = numbers_.late;
    all.bad_payloads = numbers_.bad_payloads;
    all.bytes_sent = link_->bytes_published();
    all.bytes_received = numbers_.bytes_received;
    return all;
}

Tm_nats_caller::Tm_nats_caller(Tm_nats_caller_options options)
    : state_(std::make_unique<State>(std::move(options))) {}

Tm_nats_caller::~Tm_nats_caller() = default;

std::unique_ptr<Message> Tm_nats_caller::call(Message const& request, time_point deadline,
                                              std::string* why) {
    return state_->call(request, deadline, why);
}

void Tm_nats_caller::start(Message request, time_point deadline, Answer_handler on_answer) {
    state_->start(std::move(request), deadline, std::move(on_answer));
}

std::size_t Tm_nats_caller::waiting() const { return state_->waiting(); }
Tm_nats_caller_counters Tm_nats_caller::counters() const { return state_->counters(); }
bool Tm_nats_caller::is_connected() const { return state_->is_connected(); }
