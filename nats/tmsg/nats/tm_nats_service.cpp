#include "tmsg/nats/tm_nats_service.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "tmsg/binary/tm_whole.h"
#include "tmsg/message/tm_children.h"
#include "tmsg/nats/internal/tm_nats_frames.h"
#include "tmsg/nats/internal/tm_nats_link.h"
#include "tmsg/nats/internal/tm_nats_transfer.h"

namespace {

using Clock = std::chrono::steady_clock;
using Lock = std::unique_lock<std::mutex>;
using Number = std::atomic<std::uint64_t>;

/// The request that this thread works on.
thread_local Tm_nats_request const* current_request = nullptr;

void add(Number& number, std::uint64_t by = 1) { number.fetch_add(by, std::memory_order_relaxed); }

/// What to do for a request: its payload, or a large one that has arrived.
struct Work {
    std::string reply;
    Clock::time_point begun;
    Clock::time_point last_sign;
    std::optional<Tm_nats_message> payload;
    std::unique_ptr<Message> large;

    std::size_t size() const { return payload ? payload->payload().size() : 0; }
};

/// A request whose answer is under way, and the files that it brought.
struct Exchange {
    Exchange(std::unique_ptr<Message> asked, Message&& answered)
        : request(std::move(asked)), answer(std::move(answered)) {}
    Exchange(Exchange const&) = delete;
    Exchange& operator=(Exchange const&) = delete;
    ~Exchange() {
        if (request != nullptr) tm_remove_received_files(*request);
    }

    std::unique_ptr<Message> request;
    Message answer;
};

struct Incoming {
    Incoming(std::string const& reply, unsigned int seq_no, Tm_nats_transfer_options const& options)
        : receiving(reply, seq_no, options), last_heard(Clock::now()) {}

    std::mutex mutex;  ///< for `receiving`
    Tm_nats_receiving receiving;
    Clock::time_point last_heard;
};

struct Outgoing {
    Outgoing(std::shared_ptr<Exchange const> what, Tm_nats_link& link, std::size_t chunk_size,
             std::string const& inbox, std::string to)
        : exchange(std::move(what)),
          reply(std::move(to)),
          sending(link, exchange->answer, exchange->answer.header.get_seq_no(), chunk_size, inbox),
          last_heard(Clock::now()) {}

    std::shared_ptr<Exchange const> exchange;
    std::string reply;
    Tm_nats_sending sending;
    Clock::time_point last_heard;
};

struct Numbers {
    Number received{0};
    Number answered{0};
    Number faults{0};
    Number bad_payloads{0};
    Number refused{0};
    Number unused_claims{0};
    Number lost{0};
    Number bytes_received{0};
};

/// Passes the identity of the request of this thread. An empty method stays empty.
Tm_nats_service::Method without_id(Tm_nats_service::Method_with_id method) {
    if (!method) return {};
    return [method = std::move(method)](Message const& request) {
        return method(request, *current_request);
    };
}

/// The sequence number of a call is the low part of the last number in its reply subject.
unsigned int seq_no_of(std::string_view reply) {
    std::size_t const dot = reply.rfind('.');
    auto const place = tm_nats_read_place(reply, dot == std::string_view::npos ? 0 : dot);
    return place ? static_cast<unsigned int>(place->number & Tm_header::MAX_SEQ_NO) : 0;
}

}  // namespace

class Tm_nats_service::State {
public:
    explicit State(Tm_nats_service_options options) : options_(std::move(options)) {
        tm_nats_check(options_, options_, options_.subject);
        if (options_.threads < 1 || options_.threads > 1000) {
            throw Tm_nats_exception("threads " + std::to_string(options_.threads) +
                                    " out of range 1..1000");
        }
        if (options_.max_transfers == 0) throw Tm_nats_exception("no transfers");
    }
    State(State const&) = delete;
    State& operator=(State const&) = delete;
    ~State() { stop(); }

    /// Returns the methods, which only a service that is not started can change.
    Tm_service& methods() {
        if (is_started_) throw Tm_nats_exception("method added to a service that was started");
        return service_;
    }
    void start();
    bool drain(std::chrono::milliseconds time);
    void stop();
    Tm_nats_service_counters counters() const;
    bool is_connected() const { return link_ != nullptr && link_->is_connected(); }

private:
    // On the thread of the subject.
    void on_request(Tm_nats_message message);
    void on_claim(std::string const& reply);
    // On the thread of the inbox.
    void on_inbox(Tm_nats_message const& message);
    void on_chunk(std::uint64_t transfer, std::uint32_t position, Tm_nats_message const& message);
    void on_control(std::uint64_t transfer, Tm_nats_control const& control);
    void go_on(std::uint64_t transfer, std::uint32_t allowed);
    // On the threads of the work.
    void work_on(std::size_t thread);
    void handle(Work& work);
    std::unique_ptr<Message> decode(Work const& work);
    Message answer_of(Message const& request, std::string const& reply) const;
    void respond(std::string const& reply, std::shared_ptr<Exchange> const& exchange);
    void begin_outgoing(std::string const& reply, std::shared_ptr<Exchange> const& exchange);
    // On the thread of the time.
    void watch_time();
    void give_signs_of_life();
    void give_up_silent();

    bool put_small(Work work);
    void put_large(std::uint64_t transfer, Work work);
    void put(Work work);
    void refuse(std::string const& reply, std::string_view why, std::string const& transfer = {});
    void answer_with_fault(std::string const& reply, unsigned int seq_no, std::string const& text);
    void count_answer(Message const& answer);
    std::string transfer_subject(std::uint64_t transfer) const {
        return tm_nats_subject(link_->inbox(), transfer);
    }
    std::shared_ptr<Incoming> drop_incoming(std::uint64_t transfer);
    std::shared_ptr<Outgoing> end_outgoing(std::uint64_t transfer, bool is_sent);
    bool is_idle() const;
    void join();

    Tm_nats_service_options const options_;
    Tm_service service_;
    Numbers numbers_;
    bool is_started_ = false;
    bool is_ended_ = false;

    mutable std::mutex mutex_;
    std::condition_variable has_work_;
    std::condition_variable changed_;  ///< something ended
    std::deque<Work> waiting_;
    std::size_t waiting_bytes_ = 0;
    std::vector<Work*> in_work_;  ///< by thread
    std::map<std::uint64_t, std::shared_ptr<Incoming>> incoming_;
    std::map<std::uint64_t, std::shared_ptr<Outgoing>> outgoing_;
    std::size_t large_ = 0;  ///< large requests from the claim to the end of the work
    std::uint64_t last_transfer_ = 0;
    bool is_draining_ = false;
    bool is_stopping_ = false;

    Tm_nats_whole_sender whole_;
    std::unique_ptr<Tm_nats_link> link_;
    std::unique_ptr<Tm_nats_link::Subscription> inbox_;
    std::unique_ptr<Tm_nats_link::Subscription> subject_;
    std::vector<std::thread> threads_;
};

void Tm_nats_service::State::start() {
    if (is_started_) throw Tm_nats_exception("service that was started before");
    link_ = std::make_unique<Tm_nats_link>(options_, [] {});
    is_started_ = true;
    try {
        in_work_.assign(options_.threads, nullptr);
        for (std::size_t i = 0; i < options_.threads; ++i) {
            threads_.emplace_back([this, i] { work_on(i); });
        }
        threads_.emplace_back([this] { watch_time(); });
        inbox_ = link_->subscribe(link_->inbox() + ".>", {},
                                  [this](Tm_nats_message const& message) { on_inbox(message); });
        subject_ =
            link_->subscribe(options_.subject, options_.group,
                             [this](Tm_nats_message message) { on_request(std::move(message)); });
        link_->flush(options_.connect_timeout);
    } catch (...) {
        stop();
        throw;
    }
}

bool Tm_nats_service::State::drain(std::chrono::milliseconds time) {
    if (!is_started_ || is_ended_) return true;
    auto const deadline = Clock::now() + time;
    {
        Lock const lock(mutex_);
        is_draining_ = true;
    }
    subject_->drain(time);
    Lock lock(mutex_);
    bool const is_done = changed_.wait_until(lock, deadline, [this] { return is_idle(); });
    lock.unlock();
    auto const left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    link_->flush(std::max(left, std::chrono::milliseconds(1)));
    stop();
    return is_done;
}

void Tm_nats_service::State::stop() {
    if (!is_started_ || is_ended_) return;
    {
        Lock const lock(mutex_);
        is_stopping_ = true;
        is_draining_ = true;
    }
    subject_.reset();
    join();
    inbox_.reset();
    if (link_->is_connected()) link_->flush(options_.write_timeout);
    link_->close();
    is_ended_ = true;
    for (Work& work : waiting_) {
        if (work.large != nullptr) tm_remove_received_files(*work.large);
    }
    waiting_.clear();
    incoming_.clear();
    outgoing_.clear();
}

void Tm_nats_service::State::join() {
    has_work_.notify_all();
    changed_.notify_all();
    for (std::thread& thread : threads_) thread.join();
    threads_.clear();
}

Tm_nats_service_counters Tm_nats_service::State::counters() const {
    Tm_nats_service_counters all;
    all.received = numbers_.received;
    all.answered = numbers_.answered;
    all.faults = numbers_.faults;
    all.bad_payloads = numbers_.bad_payloads;
    all.refused = numbers_.refused;
    all.unused_claims = numbers_.unused_claims;
    all.lost = numbers_.lost;
    all.bytes_received = numbers_.bytes_received;
    Lock const lock(mutex_);
    if (link_ != nullptr) all.bytes_sent = link_->bytes_published();
    auto const busy = std::count_if(in_work_.begin(), in_work_.end(),
                                    [](Work const* work) { return work != nullptr; });
    all.in_work = waiting_.size() + static_cast<std::size_t>(busy);
    all.transfers = incoming_.size() + outgoing_.size();
    return all;
}

// Requests

void Tm_nats_service::State::on_request(Tm_nats_message message) {
    std::string_view const payload = message.payload();
    add(numbers_.bytes_received, payload.size());
    std::string reply(message.reply());
    auto const header = tm_nats_read_whole(payload);
    if (header) {
        add(numbers_.received);
        auto const now = Clock::now();
        if (!put_small({reply, now, now, std::move(message), nullptr})) {
            refuse(reply, "too many requests wait");
        }
        return;
    }
    auto const control = tm_nats_read_control(payload);
    if (control && control->kind == Tm_nats_kind::claim && !reply.empty()) return on_claim(reply);
    add(numbers_.bad_payloads);
    answer_with_fault(reply, 0, "payload that is no chunk of a whole message");
}

/// Returns false when too many requests wait.
bool Tm_nats_service::State::put_small(Work work) {
    Lock lock(mutex_);
    bool const is_full = waiting_.size() >= options_.max_waiting ||
                         waiting_bytes_ + work.size() > options_.max_waiting_bytes;
    if (is_full && !waiting_.empty()) return false;
    put(std::move(work));
    lock.unlock();
    has_work_.notify_one();
    return true;
}

/// The request always finds room, because it has cost much work. Does nothing when it has ended
/// already.
void Tm_nats_service::State::put_large(std::uint64_t transfer, Work work) {
    Lock lock(mutex_);
    auto const found = incoming_.find(transfer);
    if (found == incoming_.end()) {
        tm_remove_received_files(*work.large);
        return;
    }
    add(numbers_.received);
    put(std::move(work));
    incoming_.erase(found);
    lock.unlock();
    has_work_.notify_one();
}

/// Needs the mutex. The thread that is woken would wait for it, so the caller wakes one later.
void Tm_nats_service::State::put(Work work) {
    waiting_bytes_ += work.size();
    waiting_.push_back(std::move(work));
}

void Tm_nats_service::State::refuse(std::string const& reply, std::string_view why,
                                    std::string const& transfer) {
    add(numbers_.refused);
    if (reply.empty()) return;
    link_->publish(reply, transfer, tm_nats_control(Tm_nats_kind::refused, 0, why));
}

void Tm_nats_service::State::answer_with_fault(std::string const& reply, unsigned int seq_no,
                                               std::string const& text) {
    if (reply.empty()) return;
    Message fault = Message::fault(BAD_PAYLOAD, text.substr(0, Tm_string::MAX_LENGTH));
    fault.header.set_seq_no(seq_no);
    respond(reply, std::make_shared<Exchange>(nullptr, std::move(fault)));
}

void Tm_nats_service::State::work_on(std::size_t thread) {
    Lock lock(mutex_);
    while (true) {
        has_work_.wait(lock, [this] { return is_stopping_ || !waiting_.empty(); });
        if (is_stopping_) break;
        Work work = std::move(waiting_.front());
        waiting_.pop_front();
        waiting_bytes_ -= work.size();
        in_work_[thread] = &work;
        bool const is_large = work.large != nullptr;
        lock.unlock();
        try {
            handle(work);
        } catch (...) {
            // There is no memory. The caller hears nothing more and tries again.
            add(numbers_.lost);
        }
        lock.lock();
        in_work_[thread] = nullptr;
        if (is_large) --large_;
        if (is_draining_) changed_.notify_all();
    }
    lock.unlock();
    nats_ReleaseThreadMemory();
}

void Tm_nats_service::State::handle(Work& work) {
    std::unique_ptr<Message> request = work.large != nullptr ? std::move(work.large) : decode(work);
    if (request == nullptr) return;
    auto const exchange = std::make_shared<Exchange>(std::move(request), Message());
    exchange->answer = answer_of(*exchange->request, work.reply);
    if (!work.reply.empty()) respond(work.reply, exchange);
}

/// Returns null when the payload is no message. The caller then knows.
std::unique_ptr<Message> Tm_nats_service::State::decode(Work const& work) {
    std::string_view const payload = work.payload->payload();
    Tm_header const header = *tm_nats_read_whole(payload);
    try {
        auto request = tm_from_bytes(tm_nats_content(payload), options_.limits);
        request->header = header;
        return request;
    } catch (std::bad_alloc const&) {
        refuse(work.reply, "no memory");
    } catch (std::exception const& error) {
        if (tm_nats_is_local_failure(error.what())) {
            refuse(work.reply, error.what());
        } else {
            add(numbers_.bad_payloads);
            answer_with_fault(work.reply, header.get_seq_no(), error.what());
        }
    }
    return nullptr;
}

Message Tm_nats_service::State::answer_of(Message const& request, std::string const& reply) const {
    Tm_nats_request const about{reply};
    Tm_header const asked = request.header;
    current_request = &about;
    try {
        Message answer = service_.answer(request);
        current_request = nullptr;
        return answer;
    } catch (...) {
        current_request = nullptr;
        Message fault = Message::fault(Tm_service::METHOD_FAILED, "method failed");
        fault.header = asked;
        return fault;
    }
}

void Tm_nats_service::State::respond(std::string const& reply,
                                     std::shared_ptr<Exchange> const& exchange) {
    Message const& answer = exchange->answer;
    auto const send = [&](unsigned char const* chunk, std::size_t size) {
        if (link_->publish(reply, {}, chunk, size)) {
            count_answer(answer);
        } else {
            add(numbers_.lost);
        }
    };
    bool is_sent = false;
    std::string error;
    try {
        is_sent =
            whole_.send(answer, answer.header.get_seq_no(), link_->most_chunk_payload(), send);
        if (!is_sent) begin_outgoing(reply, exchange);
        return;
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& failure) {
        error = failure.what();
    }
    // The answer cannot be encoded.
    Message fault = Message::fault(Tm_service::METHOD_FAILED, error);
    fault.header = exchange->answer.header;
    exchange->answer = std::move(fault);
    whole_.send(exchange->answer, exchange->answer.header.get_seq_no(), link_->most_chunk_payload(),
                send);
}

void Tm_nats_service::State::count_answer(Message const& answer) {
    add(numbers_.answered);
    if (answer.get_msg_type() == Message::TMT_FAULT) add(numbers_.faults);
}

// Large answers

/// Waits for room among the answers that are under way. They end in time, because each one whose
/// caller is silent is dropped.
void Tm_nats_service::State::begin_outgoing(std::string const& reply,
                                            std::shared_ptr<Exchange> const& exchange) {
    Lock lock(mutex_);
    changed_.wait(lock,
                  [this] { return is_stopping_ || outgoing_.size() < options_.max_transfers; });
    if (is_stopping_) return;
    std::uint64_t const transfer = ++last_transfer_;
    lock.unlock();
    auto const outgoing = std::make_shared<Outgoing>(exchange, *link_, options_.chunk_size,
                                                     transfer_subject(transfer), reply);
    lock.lock();
    outgoing_.emplace(transfer, outgoing);
    lock.unlock();
    go_on(transfer, 1);
}

void Tm_nats_service::State::go_on(std::uint64_t transfer, std::uint32_t allowed) {
    Lock lock(mutex_);
    auto const found = outgoing_.find(transfer);
    if (found == outgoing_.end()) return;
    auto const outgoing = found->second;
    outgoing->last_heard = Clock::now();
    lock.unlock();
    auto step = Tm_nats_sending::Step::failed;
    std::string why = "connection lost";
    try {
        step = outgoing->sending.send_to(outgoing->reply, allowed);
    } catch (std::exception const& failure) {
        why = failure.what();
    }
    if (step == Tm_nats_sending::Step::waits) return;
    bool const is_sent = step == Tm_nats_sending::Step::finished;
    auto const ended = end_outgoing(transfer, is_sent);
    if (ended != nullptr && !is_sent) refuse(ended->reply, why, transfer_subject(transfer));
}

/// Returns null when it has ended already.
std::shared_ptr<Outgoing> Tm_nats_service::State::end_outgoing(std::uint64_t transfer,
                                                               bool is_sent) {
    Lock const lock(mutex_);
    auto const found = outgoing_.find(transfer);
    if (found == outgoing_.end()) return nullptr;
    auto taken = std::move(found->second);
    outgoing_.erase(found);
    if (is_sent) {
        count_answer(taken->exchange->answer);
    } else {
        add(numbers_.lost);
    }
    changed_.notify_all();
    return taken;
}

// Large requests

void Tm_nats_service::State::on_claim(std::string const& reply) {
    auto const incoming = std::make_shared<Incoming>(reply, seq_no_of(reply), options_);
    Lock lock(mutex_);
    bool const is_refused = is_draining_ || large_ >= options_.max_transfers;
    std::uint64_t const transfer = ++last_transfer_;
    if (!is_refused) {
        incoming_.emplace(transfer, incoming);
        ++large_;
    }
    lock.unlock();
    if (is_refused) return refuse(reply, "too many large requests");
    std::uint32_t const allowed = *incoming->receiving.credit_due();
    link_->publish(reply, transfer_subject(transfer),
                   tm_nats_control(Tm_nats_kind::credit, allowed));
}

void Tm_nats_service::State::on_inbox(Tm_nats_message const& message) {
    auto const place = tm_nats_read_place(message.subject(), link_->inbox().size());
    std::string_view const payload = message.payload();
    add(numbers_.bytes_received, payload.size());
    if (place && place->position) return on_chunk(place->number, *place->position, message);
    auto const control = tm_nats_read_control(payload);
    if (place && control) return on_control(place->number, *control);
    if (place && message.is_no_responders()) {
        // The caller has gone.
        static Tm_nats_control const gone{Tm_nats_kind::refused, 0, {}};
        return on_control(place->number, gone);
    }
    add(numbers_.bad_payloads);
}

void Tm_nats_service::State::on_chunk(std::uint64_t transfer, std::uint32_t position,
                                      Tm_nats_message const& message) {
    Lock lock(mutex_);
    auto const found = incoming_.find(transfer);
    auto const incoming = found == incoming_.end() ? nullptr : found->second;
    lock.unlock();
    // Only the caller knows both subjects.
    if (incoming == nullptr || message.reply() != incoming->receiving.peer()) {
        return add(numbers_.bad_payloads);
    }
    using Step = Tm_nats_receiving::Step;
    Lock receiving_lock(incoming->mutex);
    Tm_nats_receiving& receiving = incoming->receiving;
    Step step = Step::bad;
    std::string error = "no memory";
    bool is_local = true;
    try {
        step = receiving.take(position, message.payload());
        error = receiving.error();
        is_local = tm_nats_is_local_failure(error);
    } catch (std::bad_alloc const&) {
        // The step stays bad.
    }
    auto const credit = step == Step::more ? receiving.credit_due() : std::nullopt;
    std::string const& peer = receiving.peer();
    receiving_lock.unlock();
    if (step == Step::ignored) return add(numbers_.bad_payloads);
    lock.lock();
    incoming->last_heard = Clock::now();
    lock.unlock();
    if (step == Step::more) {
        if (credit) {
            link_->publish(peer, transfer_subject(transfer),
                           tm_nats_control(Tm_nats_kind::credit, *credit));
        }
        return;
    }
    if (step == Step::whole) {
        auto const now = Clock::now();
        return put_large(transfer, {peer, now, now, std::nullopt, receiving.message()});
    }
    if (drop_incoming(transfer) == nullptr) return;
    add(step == Step::gap ? numbers_.lost : numbers_.bad_payloads);
    if (step == Step::gap) return refuse(peer, "a chunk is lost", transfer_subject(transfer));
    if (is_local) return refuse(peer, error, transfer_subject(transfer));
    answer_with_fault(peer, seq_no_of(peer), error);
}

void Tm_nats_service::State::on_control(std::uint64_t transfer, Tm_nats_control const& control) {
    if (control.kind == Tm_nats_kind::credit) return go_on(transfer, control.number);
    if (control.kind != Tm_nats_kind::refused) return add(numbers_.bad_payloads);
    end_outgoing(transfer, false);
    auto const incoming = drop_incoming(transfer);
    if (incoming == nullptr) return;
    add(incoming->receiving.has_begun() ? numbers_.lost : numbers_.unused_claims);
}

/// Lets another large request begin. Returns null when it has ended already.
std::shared_ptr<Incoming> Tm_nats_service::State::drop_incoming(std::uint64_t transfer) {
    Lock const lock(mutex_);
    auto const found = incoming_.find(transfer);
    if (found == incoming_.end()) return nullptr;
    auto taken = std::move(found->second);
    incoming_.erase(found);
    --large_;
    changed_.notify_all();
    return taken;
}

bool Tm_nats_service::State::is_idle() const {
    return waiting_.empty() && incoming_.empty() && outgoing_.empty() &&
           std::all_of(in_work_.begin(), in_work_.end(),
                       [](Work const* work) { return work == nullptr; });
}

// Time

void Tm_nats_service::State::watch_time() {
    auto const tick =
        std::max(std::min(options_.beat, options_.silence) / 2, std::chrono::milliseconds(1));
    Lock lock(mutex_);
    while (!is_stopping_) {
        auto const next = Clock::now() + tick;
        changed_.wait_until(lock, next, [&] { return is_stopping_ || Clock::now() >= next; });
        lock.unlock();
        try {
            give_signs_of_life();
            give_up_silent();
        } catch (std::bad_alloc const&) {
            // There is another try at the next tick.
        }
        lock.lock();
    }
    lock.unlock();
    nats_ReleaseThreadMemory();
}

void Tm_nats_service::State::give_signs_of_life() {
    std::vector<std::string> replies;
    Lock lock(mutex_);
    auto const now = Clock::now();
    auto const look_at = [&](Work& work) {
        if (now - work.last_sign < options_.beat || work.reply.empty()) return;
        replies.push_back(work.reply);
        work.last_sign = now;
    };
    for (Work& work : waiting_) look_at(work);
    for (Work* const work : in_work_) {
        if (work != nullptr) look_at(*work);
    }
    lock.unlock();
    for (std::string const& reply : replies) {
        link_->publish(reply, {}, tm_nats_control(Tm_nats_kind::working));
    }
}

void Tm_nats_service::State::give_up_silent() {
    std::vector<std::uint64_t> silent_incoming;
    std::vector<std::uint64_t> silent_outgoing;
    Lock lock(mutex_);
    auto const last = Clock::now() - options_.silence;
    for (auto const& [transfer, incoming] : incoming_) {
        if (incoming->last_heard < last) silent_incoming.push_back(transfer);
    }
    for (auto const& [transfer, outgoing] : outgoing_) {
        if (outgoing->last_heard < last) silent_outgoing.push_back(transfer);
    }
    lock.unlock();
    for (std::uint64_t const transfer : silent_incoming) {
        auto const incoming = drop_incoming(transfer);
        if (incoming == nullptr) continue;
        Lock const receiving_lock(incoming->mutex);
        add(incoming->receiving.has_begun() ? numbers_.lost : numbers_.unused_claims);
        refuse(incoming->receiving.peer(), "silent", transfer_subject(transfer));
    }
    for (std::uint64_t const transfer : silent_outgoing) {
        auto const outgoing = end_outgoing(transfer, false);
        if (outgoing != nullptr) refuse(outgoing->reply, "silent", transfer_subject(transfer));
    }
}

// The public class

Tm_nats_service::Tm_nats_service(Tm_nats_service_options options)
    : state_(std::make_unique<State>(std::move(options))) {}

Tm_nats_service::~Tm_nats_service() = default;

void Tm_nats_service::on(std::string name, Method method) {
    state_->methods().on(std::move(name), std::move(method));
}

void Tm_nats_service::on(std::string name, Method_with_id method) {
    state_->methods().on(std::move(name), without_id(std::move(method)));
}

void Tm_nats_service::on_any(Method method) { state_->methods().on_any(std::move(method)); }

void Tm_nats_service::on_any(Method_with_id method) {
    state_->methods().on_any(without_id(std::move(method)));
}

void Tm_nats_service::start() { state_->start(); }
bool Tm_nats_service::drain(std::chrono::milliseconds time) { return state_->drain(time); }
void Tm_nats_service::stop() { state_->stop(); }
Tm_nats_service_counters Tm_nats_service::counters() const { return state_->counters(); }
bool Tm_nats_service::is_connected() const { return state_->is_connected(); }
