/// Takes what arrives in the inbox of a caller: answers, chunks and control payloads.
#include <algorithm>

#include "tmsg/binary/tm_whole.h"
#include "tmsg/message/tm_children.h"
#include "tmsg/nats/internal/tm_nats_caller_state.h"

void Tm_nats_caller::State::on_inbox(Tm_nats_message const& message) {
    std::string_view const payload = message.payload();
    tm_nats_add(numbers_.bytes_received, payload.size());
    auto const place = tm_nats_read_place(message.subject(), link_->inbox().size());
    if (!place) return tm_nats_add(numbers_.bad_payloads);
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
    if (is_answer) tm_nats_add(numbers_.late);
    if (is_answer || is_claimed) return refuse(std::string(message.reply()), "nobody waits");
    if (!control && !place.position && !message.is_no_responders())
        tm_nats_add(numbers_.bad_payloads);
}

void Tm_nats_caller::State::on_answer(Call& call, std::string_view payload) {
    auto const header = tm_nats_read_whole(payload);
    if (!header || header->get_seq_no() != call.seq_no) return tm_nats_add(numbers_.bad_payloads);
    std::unique_ptr<Message> answer;
    try {
        answer = tm_from_bytes(tm_nats_content(payload), options_.limits);
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& error) {
        tm_nats_add(numbers_.bad_payloads);
        return fail_try(call, std::string("bad answer: ") + error.what());
    }
    answer->header = *header;
    take(call, std::move(answer));
}

void Tm_nats_caller::State::take(Call& call, std::unique_ptr<Message> answer) {
    if (answer->get_msg_type() == Message::TMT_REQUEST) {
        // A stranger publishes to the inbox. The answer may still come.
        tm_remove_received_files(*answer);
        return tm_nats_add(numbers_.bad_payloads);
    }
    Lock lock(mutex_);
    if (!caller_.take(std::move(answer), call.seq_no)) tm_nats_add(numbers_.late);
    Pointer const done = std::move(done_);
    lock.unlock();
    tell_done(done);
}

void Tm_nats_caller::State::on_chunk(Call& call, std::uint32_t position,
                                     Tm_nats_message const& message) {
    std::string const from(message.reply());
    auto const header = tm_nats_read_chunk(message.payload());
    bool const can_begin = position == 0 && !from.empty() && header && header->get_first_chunk() &&
                           header->get_seq_no() == call.seq_no;
    Lock lock(mutex_);
    if (call.is_done) return;
    if (call.receiving == nullptr && can_begin) {
        call.receiving = std::make_shared<Tm_nats_receiving>(from, call.seq_no, options_);
    }
    auto const receiving = call.receiving;
    lock.unlock();
    if (receiving == nullptr || receiving->peer() != from) {
        // A second service answers, or a stranger interferes.
        tm_nats_add(can_begin ? numbers_.late : numbers_.bad_payloads);
        return can_begin ? refuse(from, "another service answers") : void();
    }
    using Step = Tm_nats_receiving::Step;
    Step const step = receiving->take(position, message.payload());
    if (step == Step::ignored) return tm_nats_add(numbers_.bad_payloads);
    if (step == Step::gap) return fail_try(call, "a chunk is lost");
    if (step == Step::bad) {
        tm_nats_add(numbers_.bad_payloads);
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
    lock.unlock();
    take(call, receiving->message());
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
    std::string const& peer = call->receiving != nullptr ? call->receiving->peer() : call->peer;
    bool const is_ours = peer.empty() || peer == from;
    lock.unlock();
    if (control.kind != Tm_nats_kind::refused) return tm_nats_add(numbers_.bad_payloads);
    if (is_ours) fail_try(*call, "refused: " + std::string(control.text));
}

void Tm_nats_caller::State::on_credit(Pointer const& call, std::uint32_t allowed,
                                      std::string const& from) {
    if (from.empty()) return tm_nats_add(numbers_.bad_payloads);
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
        // Another try may have begun meanwhile.
        if (call->sending == sending) call->is_sent = step == Tm_nats_sending::Step::finished;
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
