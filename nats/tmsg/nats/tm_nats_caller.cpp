#include "tmsg/nats/tm_nats_caller.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <random>
#include <set>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tmsg/binary/tm_whole.h"
#include "tmsg/message/tm_children.h"
#include "tmsg/nats/internal/tm_nats_frames.h"
#include "tmsg/nats/internal/tm_nats_link.h"
#include "tmsg/nats/internal/tm_nats_transfer.h"
#include "tmsg/rpc/tm_caller.h"

namespace {

using Clock = std::chrono::steady_clock;
using Lock = std::unique_lock<std::mutex>;
using Number = std::atomic<std::uint64_t>;
using milliseconds = std::chrono::milliseconds;

void add(Number& number, std::uint64_t by = 1) { number.fetch_add(by, std::memory_order_relaxed); }

/// A call that waits. The mutex of the caller is for all members but the first five, which do not
/// change.
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
    bool is_large = false;
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
    Number calls{0};
    Number answered{0};
    Number unanswered{0};
    Number retries{0};
    Number late{0};
    Number bad_payloads{0};
    Number bytes_received{0};
};

/// What a call leaves behind at the end of a try. To be ended without the mutex.
struct Remains {
    std::shared_ptr<Tm_nats_sending> sending;
    std::vector<std::string> peers;  ///< to be told
};

}  // namespace

class Tm_nats_caller::State {
public:
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
    void begin(Pointer const& call);
    void make_first_try(Pointer const& call);
    void make_try(Pointer const& call);
    void send(Call& call);
    void step(Pointer const& call);
    void fail_try(Call& call, std::string why);
    void fail(Call& call, std::exception_ptr failure);
    void end(Remains const& remains);
    void tell_done(Pointer first);
    void refuse(std::string const& peer, std::string_view why);

    // These need the mutex.
    Remains end_try(Call& call, std::string why);
    Remains drop_transfers(Call& call);
    void set_due(Call& call, time_point due);
    void clear_alarm(Call& call);
    void look_no_later_than(time_point time);
    void give_up(Call& call);
    void conclude(Call& call, std::unique_ptr<Message> answer);
    Pointer find(std::uint64_t number) const;

    // On the thread of the inbox.
    void on_inbox(Tm_nats_message const& message);
    void on_stray(Tm_nats_place const& place, Tm_nats_message const& message);
    void on_answer(Call& call, std::string_view payload);
    void on_chunk(Call& call, std::uint32_t position, Tm_nats_message const& message);
    void on_control(Pointer const& call, Tm_nats_control const& control, std::string const& from);
    void on_credit(Pointer const& call, std::uint32_t allowed, std::string const& from);
    void on_no_responders(Call& call);

    void on_reconnected();
    void watch_time();

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

Tm_nats_caller::State::State(Tm_nats_caller_options options) : options_(std::move(options)) {
    tm_nats_check(options_, options_, options_.subject);
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

// Calls

std::unique_ptr<Message> Tm_nats_caller::State::call(Message const& request, time_point deadline,
                                                     std::string* why) {
    auto const call = std::make_shared<Call>();
    call->request = &request;
    call->deadline = deadline;
    begin(call);
    make_first_try(call);
    Lock lock(mutex_);
    while (!call->is_done) {
        auto const now = Clock::now();
        if (now >= deadline) {
            give_up(*call);
        } else if (now >= call->due) {
            lock.unlock();
            step(call);
            lock.lock();
        } else {
            call->changed.wait_until(lock, std::min(deadline, call->due));
        }
    }
    Remains const remains = drop_transfers(*call);
    Pointer const done = std::move(done_);
    lock.unlock();
    end(remains);
    tell_done(done);
    if (call->failure != nullptr) std::rethrow_exception(call->failure);
    if (call->answer == nullptr && why != nullptr) *why = call->why;
    return std::move(call->answer);
}

void Tm_nats_caller::State::start(Message request, time_point deadline, Answer_handler on_answer) {
    if (!on_answer) throw Tm_exception("call without a handler");
    auto const call = std::make_shared<Call>();
    call->own = std::make_unique<Message>(std::move(request));
    call->request = call->own.get();
    call->deadline = deadline;
    call->on_answer = std::move(on_answer);
    begin(call);
    make_first_try(call);
}

/// Gives the call its numbers.
void Tm_nats_caller::State::begin(Pointer const& call) {
    call->pause = options_.first_pause;
    call->due = time_point::max();
    call->tries = 1;
    auto const on_end = [this, waiting = call.get()](std::unique_ptr<Message> answer) {
        conclude(*waiting, std::move(answer));
    };
    Lock const lock(mutex_);
    if (is_ending_) throw Tm_nats_exception("the caller ended");
    call->seq_no = caller_.start(call->deadline, on_end);
    if (call->seq_no < last_seq_no_) ++rounds_;
    last_seq_no_ = call->seq_no;
    call->number = rounds_ * (std::uint64_t{Tm_header::MAX_SEQ_NO} + 1) + call->seq_no;
    try {
        call->reply = tm_nats_subject(link_->inbox(), call->number);
        calls_.emplace(call->seq_no, call);
        set_due(*call, Clock::now() + options_.silence);
    } catch (...) {
        caller_.cancel(call->seq_no);
        calls_.erase(call->seq_no);
        throw;
    }
    look_no_later_than(call->deadline);
    add(numbers_.calls);
}

/// Forgets the call when its request cannot be sent.
void Tm_nats_caller::State::make_first_try(Pointer const& call) {
    try {
        send(*call);
    } catch (...) {
        Lock const lock(mutex_);
        bool const waits = caller_.cancel(call->seq_no);
        // Its deadline may have passed meanwhile. Then its handler knows.
        if (!waits && !call->has_thread()) return;
        calls_.erase(call->seq_no);
        clear_alarm(*call);
        throw;
    }
}

void Tm_nats_caller::State::make_try(Pointer const& call) {
    Lock lock(mutex_);
    if (call->is_done) return;
    ++call->tries;
    add(numbers_.retries);
    call->is_paused = false;
    set_due(*call, Clock::now() + options_.silence);
    lock.unlock();
    send(*call);
}

void Tm_nats_caller::State::send(Call& call) {
    bool is_sent = false;
    auto const publish = [&](unsigned char const* chunk, std::size_t size) {
        is_sent = link_->publish(options_.subject, call.reply, chunk, size);
    };
    bool const is_whole =
        whole_.send(*call.request, call.seq_no, link_->most_chunk_payload(), publish);
    if (!is_whole) {
        auto sending = std::make_shared<Tm_nats_sending>(*link_, *call.request, call.seq_no,
                                                         options_.chunk_size, call.reply);
        Lock lock(mutex_);
        call.sending = std::move(sending);
        call.is_sent = false;
        call.peer.clear();
        lock.unlock();
        is_sent =
            link_->publish(options_.subject, call.reply, tm_nats_control(Tm_nats_kind::claim));
    }
    if (!is_sent) fail_try(call, "not connected");
}

/// Does what is due. The thread in call() does it for its call, and the thread of the time for all
/// others.
void Tm_nats_caller::State::step(Pointer const& call) {
    Lock lock(mutex_);
    if (call->is_done || Clock::now() < call->due) return;
    bool const begins_try = call->is_paused;
    lock.unlock();
    if (!begins_try) return fail_try(*call, "no sign of life from a service");
    try {
        make_try(call);
    } catch (...) {
        fail(*call, std::current_exception());
    }
}

/// Ends a try, if one goes on.
void Tm_nats_caller::State::fail_try(Call& call, std::string why) {
    Lock lock(mutex_);
    if (call.is_done || call.is_paused) return;
    Remains const remains = end_try(call, std::move(why));
    Pointer const done = std::move(done_);
    lock.unlock();
    end(remains);
    tell_done(done);
}

/// Ends the call, because its request cannot be sent.
void Tm_nats_caller::State::fail(Call& call, std::exception_ptr failure) {
    std::string why = "failure";
    try {
        std::rethrow_exception(failure);
    } catch (std::exception const& known) {
        why = known.what();
    } catch (...) {
        // The text stays.
    }
    Lock lock(mutex_);
    if (call.is_done) return;
    call.failure = std::move(failure);
    call.why = std::move(why);
    give_up(call);
    Pointer const done = std::move(done_);
    lock.unlock();
    tell_done(done);
}

void Tm_nats_caller::State::end(Remains const& remains) {
    if (remains.sending != nullptr) remains.sending->close();
    for (std::string const& peer : remains.peers) refuse(peer, "the caller gave up");
}

/// Wakes the threads in call(), and calls the handlers of all others.
void Tm_nats_caller::State::tell_done(Pointer first) {
    while (first != nullptr) {
        Pointer const call = std::exchange(first, std::move(first->next));
        if (call->has_thread()) {
            call->changed.notify_one();
            continue;
        }
        Lock lock(mutex_);
        Remains const remains = drop_transfers(*call);
        lock.unlock();
        end(remains);
        try {
            call->on_answer(std::move(call->answer), call->why);
        } catch (...) {
            // There is nobody to tell.
        }
    }
}

void Tm_nats_caller::State::refuse(std::string const& peer, std::string_view why) {
    if (peer.empty()) return;
    link_->publish(peer, {}, tm_nats_control(Tm_nats_kind::refused, 0, why));
}

Remains Tm_nats_caller::State::end_try(Call& call, std::string why) {
    Remains remains = drop_transfers(call);
    call.why = std::move(why);
    if (options_.max_tries != 0 && call.tries >= options_.max_tries) {
        give_up(call);
        return remains;
    }
    call.is_paused = true;
    // Callers that failed together do not come back together.
    auto const most = std::max<std::int64_t>(call.pause.count(), 1);
    auto const pause = std::uniform_int_distribution<std::int64_t>(most / 2, most)(random_);
    call.pause = std::min(2 * call.pause, options_.longest_pause);
    set_due(call, Clock::now() + milliseconds(pause));
    return remains;
}

/// Leaves what must be ended without the mutex.
Remains Tm_nats_caller::State::drop_transfers(Call& call) {
    Remains remains;
    remains.sending = std::move(call.sending);
    if (remains.sending != nullptr && !call.is_sent) {
        remains.peers.push_back(std::exchange(call.peer, {}));
    }
    if (call.receiving != nullptr) remains.peers.push_back(call.receiving->peer());
    call.receiving.reset();
    return remains;
}

void Tm_nats_caller::State::set_due(Call& call, time_point due) {
    bool const is_earlier = due < call.due;
    call.due = due;
    if (call.has_thread()) {
        if (is_earlier) call.changed.notify_one();
        return;
    }
    clear_alarm(call);
    alarms_.emplace(due, call.seq_no);
    call.alarm = due;
    look_no_later_than(due);
}

void Tm_nats_caller::State::clear_alarm(Call& call) {
    if (call.alarm) alarms_.erase({*call.alarm, call.seq_no});
    call.alarm.reset();
}

/// Wakes the thread of the time only when it would come too late.
void Tm_nats_caller::State::look_no_later_than(time_point time) {
    if (time >= next_look_) return;
    next_look_ = time;
    look_earlier_.notify_one();
}

/// Ends the call without an answer.
void Tm_nats_caller::State::give_up(Call& call) {
    if (caller_.cancel(call.seq_no)) conclude(call, nullptr);
}

/// The call has left caller_.
void Tm_nats_caller::State::conclude(Call& call, std::unique_ptr<Message> answer) {
    add(answer != nullptr ? numbers_.answered : numbers_.unanswered);
    call.answer = std::move(answer);
    call.is_done = true;
    if (call.answer == nullptr && call.why.empty()) call.why = "no answer before the deadline";
    clear_alarm(call);
    auto const found = calls_.find(call.seq_no);
    found->second->next = std::move(done_);
    done_ = std::move(found->second);
    calls_.erase(found);
}

/// Returns null for a call that has ended.
Pointer Tm_nats_caller::State::find(std::uint64_t number) const {
    auto const found = calls_.find(static_cast<unsigned int>(number & Tm_header::MAX_SEQ_NO));
    return found != calls_.end() && found->second->number == number ? found->second : nullptr;
}

// What arrives

void Tm_nats_caller::State::on_inbox(Tm_nats_message const& message) {
    std::string_view const payload = message.payload();
    add(numbers_.bytes_received, payload.size());
    auto const place = tm_nats_read_place(message.subject(), link_->inbox().size());
    if (!place) return add(numbers_.bad_payloads);
    Lock lock(mutex_);
    Pointer const call = find(place->number);
    lock.unlock();
    if (call == nullptr) return on_stray(*place, message);
    if (place->position) return on_chunk(*call, *place->position, message);
    auto const control = tm_nats_read_control(payload);
    if (control) return on_control(call, *control, std::string(message.reply()));
    if (message.is_no_responders()) return on_no_responders(*call);
    on_answer(*call, payload);
}

/// Nobody waits for it any more. A service that has begun something is told.
void Tm_nats_caller::State::on_stray(Tm_nats_place const& place, Tm_nats_message const& message) {
    std::string_view const payload = message.payload();
    auto const control = tm_nats_read_control(payload);
    bool const is_answer = place.position ? *place.position == 0 && tm_nats_read_chunk(payload)
                                          : tm_nats_read_whole(payload).has_value();
    bool const is_claimed = control && control->kind == Tm_nats_kind::credit;
    if (is_answer) add(numbers_.late);
    if (is_answer || is_claimed) return refuse(std::string(message.reply()), "nobody waits");
    if (!control && !place.position && !message.is_no_responders()) add(numbers_.bad_payloads);
}

void Tm_nats_caller::State::on_answer(Call& call, std::string_view payload) {
    auto const header = tm_nats_read_whole(payload);
    if (!header || header->get_seq_no() != call.seq_no) return add(numbers_.bad_payloads);
    std::unique_ptr<Message> answer;
    try {
        answer = tm_from_bytes(tm_nats_content(payload), options_.limits);
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& error) {
        add(numbers_.bad_payloads);
        return fail_try(call, std::string("bad answer: ") + error.what());
    }
    answer->header = *header;
    Lock lock(mutex_);
    if (!caller_.take(std::move(answer), call.seq_no)) add(numbers_.late);
    Pointer const done = std::move(done_);
    lock.unlock();
    tell_done(done);
}

void Tm_nats_caller::State::on_chunk(Call& call, std::uint32_t position,
                                     Tm_nats_message const& message) {
    std::string const from(message.reply());
    Lock lock(mutex_);
    if (call.is_done) return;
    if (call.receiving == nullptr && position == 0 && !from.empty()) {
        call.receiving = std::make_shared<Tm_nats_receiving>(from, call.seq_no, options_);
    }
    auto const receiving = call.receiving;
    lock.unlock();
    if (receiving == nullptr || receiving->peer() != from) {
        // A second service answers, or a stranger interferes.
        add(position == 0 && tm_nats_read_chunk(message.payload()) ? numbers_.late
                                                                   : numbers_.bad_payloads);
        return position == 0 ? refuse(from, "another service answers") : void();
    }
    using Step = Tm_nats_receiving::Step;
    Step const step = receiving->take(position, message.payload());
    if (step == Step::ignored) return add(numbers_.bad_payloads);
    if (step == Step::gap) return fail_try(call, "a chunk is lost");
    if (step == Step::bad) {
        add(numbers_.bad_payloads);
        return fail_try(call, "bad answer: " + receiving->error());
    }
    lock.lock();
    if (call.is_done || call.receiving != receiving) return;
    if (step == Step::more) {
        set_due(call, Clock::now() + options_.silence);
        lock.unlock();
        auto const credit = receiving->credit_due();
        if (credit) {
            link_->publish(from, call.reply, tm_nats_control(Tm_nats_kind::credit, *credit));
        }
        return;
    }
    call.receiving.reset();
    if (!caller_.take(receiving->message(), call.seq_no)) add(numbers_.late);
    Pointer const done = std::move(done_);
    lock.unlock();
    tell_done(done);
}

void Tm_nats_caller::State::on_control(Pointer const& call, Tm_nats_control const& control,
                                       std::string const& from) {
    if (control.kind == Tm_nats_kind::credit) return on_credit(call, control.number, from);
    Lock lock(mutex_);
    if (control.kind == Tm_nats_kind::working) {
        if (call->is_done) return;
        // A service has the request, so another try can wait.
        call->is_paused = false;
        return set_due(*call, Clock::now() + options_.silence);
    }
    bool const is_ours =
        call->receiving != nullptr ? call->receiving->peer() == from : call->peer == from;
    lock.unlock();
    if (control.kind != Tm_nats_kind::refused) return add(numbers_.bad_payloads);
    if (is_ours) fail_try(*call, "refused: " + std::string(control.text));
}

void Tm_nats_caller::State::on_credit(Pointer const& call, std::uint32_t allowed,
                                      std::string const& from) {
    if (from.empty()) return add(numbers_.bad_payloads);
    Lock lock(mutex_);
    if (call->peer.empty() && call->sending != nullptr) call->peer = from;
    if (call->is_done || call->sending == nullptr || call->peer != from) {
        lock.unlock();
        return refuse(from, "another service has the request");
    }
    set_due(*call, Clock::now() + options_.silence);
    auto const sending = call->sending;
    lock.unlock();
    try {
        auto const step = sending->send_to(from, allowed);
        if (step == Tm_nats_sending::Step::failed) return fail_try(*call, "connection lost");
        lock.lock();
        call->is_sent = call->is_sent || step == Tm_nats_sending::Step::finished;
    } catch (std::bad_alloc const&) {
        fail_try(*call, "no memory");
    } catch (...) {
        fail(*call, std::current_exception());
    }
}

void Tm_nats_caller::State::on_no_responders(Call& call) {
    Lock lock(mutex_);
    bool const has_peer = !call.peer.empty();
    lock.unlock();
    fail_try(call, has_peer ? "the service has gone" : "no service at " + options_.subject);
}

// Time

/// What was under way may be lost.
void Tm_nats_caller::State::on_reconnected() {
    Lock const lock(mutex_);
    auto const soon = Clock::now() + options_.first_pause;
    for (auto const& [seq_no, call] : calls_) {
        if (!call->is_paused && call->due > soon) set_due(*call, soon);
    }
}

void Tm_nats_caller::State::watch_time() {
    Lock lock(mutex_);
    while (!is_ending_) {
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
        next_look_ = caller_.next_deadline().value_or(time_point::max());
        if (!alarms_.empty()) next_look_ = std::min(next_look_, alarms_.begin()->first);
        if (is_ending_ || next_look_ <= Clock::now()) continue;
        auto const is_woken = [&, look = next_look_] { return is_ending_ || next_look_ < look; };
        if (next_look_ == time_point::max()) {
            look_earlier_.wait(lock, is_woken);
        } else {
            look_earlier_.wait_until(lock, time_point(next_look_), is_woken);
        }
    }
    lock.unlock();
    nats_ReleaseThreadMemory();
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

// The public class

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
