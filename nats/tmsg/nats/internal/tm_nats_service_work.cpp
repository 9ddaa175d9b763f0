/// Takes requests, works on them on the threads of the service, and answers them.
#include <algorithm>

#include "tmsg/binary/tm_whole.h"
#include "tmsg/nats/internal/tm_nats_service_state.h"

void Tm_nats_service::State::on_request(Tm_nats_message message) {
    std::string_view const payload = message.payload();
    tm_nats_add(numbers_.bytes_received, payload.size());
    std::string reply(message.reply());
    auto const header = tm_nats_read_whole(payload);
    if (header) {
        tm_nats_add(numbers_.received);
        auto const now = Clock::now();
        if (!put_small({reply, now, now, std::move(message), nullptr})) {
            refuse(reply, "too many requests wait");
        }
        return;
    }
    auto const control = tm_nats_read_control(payload);
    if (control && control->kind == Tm_nats_kind::claim && !reply.empty()) return on_claim(reply);
    tm_nats_add(numbers_.bad_payloads);
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
    tm_nats_add(numbers_.received);
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
    tm_nats_add(numbers_.refused);
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
            tm_nats_add(numbers_.lost);
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

/// Returns null when the payload is no message, after telling the caller so.
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
            tm_nats_add(numbers_.bad_payloads);
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
        if (answer.get_msg_type() != Message::TMT_REQUEST) return answer;
    } catch (...) {
        current_request = nullptr;
    }
    Message fault = Message::fault(Tm_service::METHOD_FAILED, "method failed");
    fault.header = asked;
    return fault;
}

void Tm_nats_service::State::respond(std::string const& reply,
                                     std::shared_ptr<Exchange> const& exchange) {
    Message const& answer = exchange->answer;
    auto const send = [&](unsigned char const* chunk, std::size_t size) {
        if (link_->publish(reply, {}, chunk, size)) {
            count_answer(answer);
        } else {
            tm_nats_add(numbers_.lost);
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
    tm_nats_add(numbers_.answered);
    if (answer.get_msg_type() == Message::TMT_FAULT) tm_nats_add(numbers_.faults);
}
