/// Makes the tries of calls, and ends calls.
#include <algorithm>

#include "tmsg/message/tm_children.h"
#include "tmsg/nats/internal/tm_nats_caller_state.h"

std::unique_ptr<Message> Tm_nats_caller::State::call(Message const& request, time_point deadline,
                                                     std::string* why) {
    auto const call = std::make_shared<Call>();
    call->request = &request;
    call->deadline = deadline;
    begin(call);
    make_first_try(call);
    try {
        wait_for_end(call);
    } catch (...) {
        // The request may not be used any more.
        Lock lock(mutex_);
        if (!call->is_done) give_up(*call);
        Remains const remains = drop_transfers(*call);
        lock.unlock();
        if (remains.sending != nullptr) remains.sending->close();
        throw;
    }
    Lock lock(mutex_);
    Remains const remains = drop_transfers(*call);
    Pointer const done = std::move(done_);
    lock.unlock();
    end(remains);
    tell_done(done);
    if (call->failure != nullptr) std::rethrow_exception(call->failure);
    if (call->answer == nullptr && why != nullptr) *why = call->why;
    return std::move(call->answer);
}

void Tm_nats_caller::State::wait_for_end(Pointer const& call) {
    Lock lock(mutex_);
    while (!call->is_done) {
        auto const now = Clock::now();
        if (now >= call->deadline) {
            give_up(*call);
        } else if (now >= call->due) {
            lock.unlock();
            step(call);
            lock.lock();
        } else {
            call->changed.wait_until(lock, std::min(call->deadline, call->due));
        }
    }
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
    call->why = "no answer before the deadline";
    auto const on_end = [this, waiting = call.get()](std::unique_ptr<Message> answer) {
        conclude(*waiting, std::move(answer));
    };
    Lock const lock(mutex_);
    if (is_ending_) throw Tm_nats_exception("the caller ended");
    call->seq_no = caller_.start(call->deadline, on_end);
    if (call->seq_no <= last_seq_no_) ++rounds_;
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
    tm_nats_add(numbers_.calls);
}

/// Forgets the call when its request cannot be sent.
void Tm_nats_caller::State::make_first_try(Pointer const& call) {
    try {
        if (is_ready(*call)) send(*call);
    } catch (...) {
        Lock const lock(mutex_);
        bool const waits = caller_.cancel(call->seq_no);
        // Its deadline may have passed meanwhile. Then its handler was called.
        if (!waits && !call->has_thread()) return;
        calls_.erase(call->seq_no);
        clear_alarm(*call);
        throw;
    }
}

void Tm_nats_caller::State::make_try(Pointer const& call) {
    if (!is_ready(*call)) return;
    Lock lock(mutex_);
    if (call->is_done) return;
    if (call->tries++ > 0) tm_nats_add(numbers_.retries);
    call->is_paused = false;
    set_due(*call, Clock::now() + options_.silence);
    lock.unlock();
    send(*call);
}

/// Returns false while there is no connection. Then the call waits for the next one, because
/// libnats can hold up a thread that publishes while it connects, beyond the deadline of the call.
bool Tm_nats_caller::State::is_ready(Call& call) {
    if (link_->is_connected()) return true;
    Lock const lock(mutex_);
    if (call.is_done) return false;
    if (!call.is_paused) --call.tries;
    call.is_paused = true;
    call.why = "not connected";
    set_due(call, Clock::now() + options_.longest_pause);
    return false;
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
    refuse(remains.peer, "the caller gave up");
    if (remains.receiving != nullptr) refuse(remains.receiving->peer(), "the caller gave up");
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
    if (peer.empty() || !link_->is_connected()) return;
    link_->publish(peer, {}, tm_nats_control(Tm_nats_kind::refused, 0, why));
}

auto Tm_nats_caller::State::end_try(Call& call, std::string why) -> Remains {
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

/// Returns what must be ended without the mutex.
auto Tm_nats_caller::State::drop_transfers(Call& call) noexcept -> Remains {
    Remains remains;
    remains.sending = std::move(call.sending);
    if (remains.sending != nullptr && !call.is_sent) remains.peer.swap(call.peer);
    remains.receiving = std::move(call.receiving);
    return remains;
}

void Tm_nats_caller::State::set_due(Call& call, time_point due) {
    bool const is_earlier = due < call.due;
    if (!call.has_thread() && call.alarm != due) {
        alarms_.emplace(due, call.seq_no);
        clear_alarm(call);
        call.alarm = due;
        look_no_later_than(due);
    }
    call.due = due;
    if (call.has_thread() && is_earlier) call.changed.notify_one();
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
void Tm_nats_caller::State::conclude(Call& call, std::unique_ptr<Message> answer) noexcept {
    tm_nats_add(answer != nullptr ? numbers_.answered : numbers_.unanswered);
    if (answer != nullptr) call.why.clear();
    call.answer = std::move(answer);
    call.is_done = true;
    clear_alarm(call);
    auto const found = calls_.find(call.seq_no);
    found->second->next = std::move(done_);
    done_ = std::move(found->second);
    calls_.erase(found);
}

/// Returns null for a call that has ended.
auto Tm_nats_caller::State::find(std::uint64_t number) const -> Pointer {
    auto const found = calls_.find(static_cast<unsigned int>(number & Tm_header::MAX_SEQ_NO));
    return found != calls_.end() && found->second->number == number ? found->second : nullptr;
}
