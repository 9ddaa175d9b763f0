/// Starts, drains and stops a service, and watches the time of its requests.
#include "tmsg/nats/tm_nats_service.h"

#include <algorithm>

#include "tmsg/nats/internal/tm_nats_service_state.h"

auto Tm_nats_service::State::without_id(Method_with_id method) -> Method {
    if (!method) return {};
    return [method = std::move(method)](Message const& request) {
        return method(request, *current_request);
    };
}

void Tm_nats_service::State::start() {
    if (is_started_) throw Tm_nats_exception("service that was started before");
    auto link = std::make_unique<Tm_nats_link>(options_, [] {});
    std::vector<Work*> in_work(options_.threads, nullptr);
    {
        Lock const lock(mutex_);
        link_ = std::move(link);
        in_work_ = std::move(in_work);
    }
    is_started_ = true;
    try {
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
    bool const has_left = subject_->drain(time);
    Lock lock(mutex_);
    bool const is_done = changed_.wait_until(lock, deadline, [this] { return is_idle(); });
    lock.unlock();
    auto const left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    bool const is_sent = link_->flush(left);
    stop();
    return has_left && is_done && is_sent;
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
    Lock const lock(mutex_);
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
        tm_nats_add(incoming->receiving.has_begun() ? numbers_.lost : numbers_.unused_claims);
        refuse(incoming->receiving.peer(), "silent", transfer_subject(transfer));
    }
    for (std::uint64_t const transfer : silent_outgoing) {
        auto const outgoing = end_outgoing(transfer, false);
        if (outgoing != nullptr) refuse(outgoing->reply, "silent", transfer_subject(transfer));
    }
}

Tm_nats_service::Tm_nats_service(Tm_nats_service_options options)
    : state_(std::make_unique<State>(std::move(options))) {}

Tm_nats_service::~Tm_nats_service() = default;

void Tm_nats_service::on(std::string name, Method method) {
    state_->methods().on(std::move(name), std::move(method));
}

void Tm_nats_service::on(std::string name, Method_with_id method) {
    state_->methods().on(std::move(name), State::without_id(std::move(method)));
}

void Tm_nats_service::on_any(Method method) { state_->methods().on_any(std::move(method)); }

void Tm_nats_service::on_any(Method_with_id method) {
    state_->methods().on_any(State::without_id(std::move(method)));
}

void Tm_nats_service::start() { state_->start(); }
bool Tm_nats_service::drain(std::chrono::milliseconds time) { return state_->drain(time); }
void Tm_nats_service::stop() { state_->stop(); }
Tm_nats_service_counters Tm_nats_service::counters() const { return state_->counters(); }
bool Tm_nats_service::is_connected() const { return state_->is_connected(); }
