/// Finds the call of each payload, and shows it.
#include "nats/traffic.h"

#include <tmsg/nats/internal/tm_nats_frames.h>

#include <algorithm>
#include <utility>

#include "forms/form_reader.h"
#include "io/system.h"
#include "io/terminal.h"

namespace {

/// Calls that are older than so many others are forgotten.
constexpr std::size_t most_calls = 10000;
/// The longest idle caller is forgotten when there are more.
constexpr std::size_t most_callers = 1000;
constexpr std::size_t longest_text = 200;

unsigned char const* bytes_of(std::string_view text) {
    return reinterpret_cast<unsigned char const*>(text.data());
}

/// A subject without its last word.
std::string_view before_last_word(std::string_view subject) {
    std::size_t const dot = subject.rfind('.');
    return subject.substr(0, dot == std::string_view::npos ? 0 : dot);
}

/// Returns the number in the last word.
std::optional<std::uint64_t> last_number(std::string_view subject) {
    auto const place = tm_nats_read_place(subject, before_last_word(subject).size());
    if (!place) return {};
    return place->number;
}

std::string name_of(Tm_nats_control const& control) {
    switch (control.kind) {
        case Tm_nats_kind::claim:
            return "claim";
        case Tm_nats_kind::credit:
            return "credit " + std::to_string(control.number);
        case Tm_nats_kind::working:
            return "working";
        case Tm_nats_kind::refused:
            break;
    }
    return "refused";
}

}  // namespace

Nats_large::Nats_large(Tm_limits const& limits)
    : receiver_([this](std::unique_ptr<Message> message, int,
                       Tm_header const&) { message_ = std::move(message); },
                [this](int, unsigned int, std::string const& text) { error_ = text; }, limits) {}

void Nats_large::take(std::uint32_t position, std::string_view chunk) {
    if (is_over_) return;
    if (position != next_) {
        error_ = "chunk " + std::to_string(next_) + " did not pass";
    } else {
        ++next_;
        bytes_ += chunk.size();
        receiver_.receive(0, bytes_of(chunk), chunk.size());
    }
    is_over_ = !error_.empty();
    if (is_over_) receiver_.forget(0);
}

std::string Nats_large::error() { return std::exchange(error_, {}); }

void Nats_traffic::take_at_subject(Nats_payload const& payload) {
    lines_.note_moment();
    take(call_of(payload.reply), Direction::to_upstream, payload, {});
}

/// What goes to the caller is at its inbox, and what goes to a worker names it for the reply. Only
/// a refusal of the caller does not.
void Nats_traffic::take_at_inbox(Nats_payload const& payload) {
    lines_.note_moment();
    if (Call* const call = find(payload.subject)) {
        if (!payload.reply.empty()) call->peer = payload.reply;
        return take(*call, Direction::to_client, payload, {});
    }
    auto const number = last_number(payload.subject);
    if (!number) return;
    auto const position = static_cast<std::uint32_t>(*number);
    if (Call* const call = find(before_last_word(payload.subject))) {
        if (!payload.reply.empty()) call->peer = payload.reply;
        return take(*call, Direction::to_client, payload, position);
    }
    if (Call* const call = find(payload.reply)) {
        bool const is_control = tm_nats_read_control(payload.data).has_value();
        return take(*call, Direction::to_upstream, payload,
                    is_control ? std::nullopt : std::optional<std::uint32_t>(position));
    }
    if (Call* const call = call_at(payload.subject)) {
        take(*call, Direction::to_upstream, payload, {});
    }
}

/// Returns null for an unknown call.
Nats_traffic::Call* Nats_traffic::find(std::string_view reply) {
    auto const found = calls_.find(reply);
    return found == calls_.end() ? nullptr : &found->second;
}

Nats_traffic::Call& Nats_traffic::call_of(std::string_view reply) {
    if (Call* const known = find(reply)) return *known;
    if (order_.size() >= most_calls) {
        calls_.erase(order_.front());
        order_.pop_front();
    }
    order_.emplace_back(reply);
    Call& call = calls_[order_.back()];
    call.inbox = before_last_word(reply);
    call.seq_no = static_cast<unsigned int>(last_number(reply).value_or(0) & Tm_header::MAX_SEQ_NO);
    return call;
}

/// Returns the call with this subject of a worker, or null.
Nats_traffic::Call* Nats_traffic::call_at(std::string_view peer) {
    auto const found = std::find_if(calls_.begin(), calls_.end(),
                                    [&](auto const& call) { return call.second.peer == peer; });
    return found == calls_.end() ? nullptr : &found->second;
}

Nats_traffic::Caller& Nats_traffic::caller_of(std::string const& inbox) {
    auto const found = callers_.find(inbox);
    if (found != callers_.end()) {
        found->second.last_used = ++uses_;
        return found->second;
    }
    if (callers_.size() >= most_callers) {
        callers_.erase(std::min_element(callers_.begin(), callers_.end(),
                                        [](auto const& left, auto const& right) {
                                            return left.second.last_used < right.second.last_used;
                                        }));
    }
    Caller& caller = callers_[inbox];
    last_ = captures_.number_after(last_);
    caller.number = last_;
    caller.last_used = ++uses_;
    caller.to_upstream = captures_.open(last_, Direction::to_upstream);
    caller.to_client = captures_.open(last_, Direction::to_client);
    lines_.write(last_, "caller " + (inbox.empty() ? "that wants no answers" : printable(inbox)));
    return caller;
}

std::unique_ptr<Nats_large>& Nats_traffic::large_of(Call& call, Direction direction) {
    return direction == Direction::to_upstream ? call.request : call.answer;
}

/// Gives up the large message of which nothing has passed for the longest time, when there are too
/// many. A caller or a worker may have vanished.
void Nats_traffic::make_room() {
    std::size_t count = 0;
    std::unique_ptr<Nats_large>* oldest = nullptr;
    for (auto& [reply, call] : calls_) {
        for (auto* const large : {&call.request, &call.answer}) {
            if (*large == nullptr) continue;
            ++count;
            if (oldest == nullptr || (*large)->last_used < (*oldest)->last_used) oldest = large;
        }
    }
    if (count >= limits_.max_unfinished && oldest != nullptr) oldest->reset();
}

void Nats_traffic::take(Call& call, Direction direction, Nats_payload const& payload,
                        std::optional<std::uint32_t> position) {
    auto const control = tm_nats_read_control(payload.data);
    if (control) {
        std::string const why = shortened(control->text, longest_text);
        return write(call, direction,
                     name_of(*control) + " seq " + std::to_string(call.seq_no) +
                         (why.empty() ? "" : ": " + why));
    }
    if (position && tm_nats_read_chunk(payload.data)) {
        return take_chunk(call, direction, *position, payload.data);
    }
    if (!position && tm_nats_read_whole(payload.data)) {
        return take_whole(call, direction, payload.data);
    }
    // The server says so when nobody listens.
    if (payload.data.empty() && direction == Direction::to_client) return;
    write_damage(call, direction,
                 "payload of " + std::to_string(payload.data.size()) + " bytes that is no chunk" +
                     (position ? "" : " of a whole message"));
}

void Nats_traffic::take_whole(Call& call, Direction direction, std::string_view chunk) {
    save(call, direction, chunk);
    if (!lines_.is_shown()) return;
    Temporary_files files;
    std::unique_ptr<Message> message;
    try {
        message = tm_from_bytes(tm_nats_content(chunk), limits_);
    } catch (std::exception const& error) {
        return write_damage(call, direction, text_of(error));
    }
    files.add(*message);
    message->header = *tm_nats_read_whole(chunk);
    show(call, direction, *message, chunk.size());
}

void Nats_traffic::take_chunk(Call& call, Direction direction, std::uint32_t position,
                              std::string_view chunk) {
    save(call, direction, chunk);
    if (!lines_.is_shown()) return;
    write(call, direction,
          "chunk " + std::to_string(position) + " seq " + std::to_string(call.seq_no) + ", " +
              std::to_string(chunk.size()) + " bytes");
    auto& large = large_of(call, direction);
    if (position == 0) {
        large.reset();
        make_room();
        large = std::make_unique<Nats_large>(limits_);
    }
    if (large == nullptr) return;
    large->last_used = ++uses_;
    large->take(position, chunk);
    std::string const error = large->error();
    if (!error.empty()) write_damage(call, direction, error);
    auto const message = large->message();
    if (message == nullptr) return;
    Temporary_files files;
    files.add(*message);
    std::size_t const bytes = large->bytes();
    large.reset();
    show(call, direction, *message, bytes);
}

void Nats_traffic::save(Call const& call, Direction direction, std::string_view chunk) {
    Caller& caller = caller_of(call.inbox);
    bool const is_up = direction == Direction::to_upstream;
    (is_up ? caller.to_upstream : caller.to_client).add(bytes_of(chunk), chunk.size());
}

void Nats_traffic::show(Call& call, Direction direction, Message& message, std::size_t bytes) {
    if (direction == Direction::to_upstream) {
        bool const is_again = call.begin.has_value() && !call.inbox.empty();
        if (!is_again) call.begin = lines_.moment();
        bool const is_request = message.get_msg_type() == Message::TMT_REQUEST;
        if (is_request) call.method = shown_method(message);
        write(call, direction,
              (is_request ? text_of_request(message, bytes)
                          : text_of_answer(message, bytes, "", {})) +
                  (is_again ? ", again" : ""));
    } else {
        std::optional<Clock::duration> duration;
        if (call.begin && !call.is_answered) duration = lines_.moment() - *call.begin;
        write(call, direction,
              text_of_answer(message, bytes, call.method, duration) +
                  (call.is_answered ? ", again" : ""));
        call.is_answered = true;
    }
    lines_.print(message);
}

void Nats_traffic::write(Call const& call, Direction direction, std::string const& text) {
    int const number = caller_of(call.inbox).number;
    lines_.write(number, direction, text);
}

void Nats_traffic::write_damage(Call const& call, Direction direction, std::string const& text) {
    write(call, direction,
          painted(Colour::red,
                  "damaged: " + printable(text) + " (seq " + std::to_string(call.seq_no) + ")"));
}
