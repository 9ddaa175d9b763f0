/// Receives large requests and sends large answers, in windows of chunks.
#include <algorithm>

#include "tmsg/nats/internal/tm_nats_service_state.h"

void Tm_nats_service::State::on_claim(std::string const& reply) {
    auto const incoming = std::make_shared<Incoming>(reply, tm_nats_seq_no(reply), options_);
    Lock lock(mutex_);
    bool const is_draining = is_draining_;
    bool const is_refused = is_draining || large_ >= options_.max_transfers;
    std::uint64_t const transfer = ++last_transfer_;
    if (!is_refused) {
        incoming_.emplace(transfer, incoming);
        ++large_;
    }
    lock.unlock();
    if (is_draining) return refuse(reply, "the service ends");
    if (is_refused) return refuse(reply, "too many large requests");
    std::uint32_t const allowed = *incoming->receiving.credit_due();
    link_->publish(reply, transfer_subject(transfer),
                   tm_nats_control(Tm_nats_kind::credit, allowed));
}

void Tm_nats_service::State::on_inbox(Tm_nats_message const& message) {
    auto const place = tm_nats_read_place(message.subject(), link_->inbox().size());
    std::string_view const payload = message.payload();
    tm_nats_add(numbers_.bytes_received, payload.size());
    if (place && place->position) return on_chunk(place->number, *place->position, message);
    auto const control = tm_nats_read_control(payload);
    if (place && control) return on_control(place->number, *control);
    if (place && message.is_no_responders()) {
        // The caller has gone.
        static Tm_nats_control const gone{Tm_nats_kind::refused, 0, {}};
        return on_control(place->number, gone);
    }
    tm_nats_add(numbers_.bad_payloads);
}

void Tm_nats_service::State::on_chunk(std::uint64_t transfer, std::uint32_t position,
                                      Tm_nats_message const& message) {
    Lock lock(mutex_);
    auto const found = incoming_.find(transfer);
    auto const incoming = found == incoming_.end() ? nullptr : found->second;
    lock.unlock();
    // Only the caller knows both subjects.
    if (incoming == nullptr || message.reply() != incoming->receiving.peer()) {
        return tm_nats_add(numbers_.bad_payloads);
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
    if (step == Step::ignored) return tm_nats_add(numbers_.bad_payloads);
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
    tm_nats_add(step == Step::gap ? numbers_.lost : numbers_.bad_payloads);
    if (step == Step::gap) return refuse(peer, "a chunk is lost", transfer_subject(transfer));
    if (is_local) return refuse(peer, error, transfer_subject(transfer));
    answer_with_fault(peer, tm_nats_seq_no(peer), error);
}

void Tm_nats_service::State::on_control(std::uint64_t transfer, Tm_nats_control const& control) {
    if (control.kind == Tm_nats_kind::credit) return go_on(transfer, control.number);
    if (control.kind != Tm_nats_kind::refused) return tm_nats_add(numbers_.bad_payloads);
    end_outgoing(transfer, false);
    auto const incoming = drop_incoming(transfer);
    if (incoming == nullptr) return;
    tm_nats_add(incoming->receiving.has_begun() ? numbers_.lost : numbers_.unused_claims);
}

/// Lets another large request begin. Returns null when it has ended already.
auto Tm_nats_service::State::drop_incoming(std::uint64_t transfer) -> std::shared_ptr<Incoming> {
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
auto Tm_nats_service::State::end_outgoing(std::uint64_t transfer, bool is_sent)
    -> std::shared_ptr<Outgoing> {
    Lock const lock(mutex_);
    auto const found = outgoing_.find(transfer);
    if (found == outgoing_.end()) return nullptr;
    auto taken = std::move(found->second);
    outgoing_.erase(found);
    if (is_sent) {
        count_answer(taken->exchange->answer);
    } else {
        tm_nats_add(numbers_.lost);
    }
    changed_.notify_all();
    return taken;
}
