#include "tmsg/transport/tm_chunk_receiver.h"

#include <exception>
#include <utility>
#include <vector>

#include "tmsg/message/message.h"
#include "tmsg/transport/tm_chunk_stream.h"

namespace {

char const idle_text[] = "message dropped: no data since 20 collections of garbage";

}  // namespace

Tm_chunk_receiver::Tm_chunk_receiver(Message_handler on_message, Error_handler on_error,
                                     Tm_limits const& limits)
    : on_message_(std::move(on_message)), on_error_(std::move(on_error)), limits_(limits) {}

Tm_chunk_receiver::~Tm_chunk_receiver() = default;

std::shared_ptr<Tm_chunk_stream> Tm_chunk_receiver::stream_of(int originator) {
    auto const known = streams_.find(originator);
    if (known != streams_.end()) return known->second;
    auto stream = std::make_shared<Tm_chunk_stream>(originator, limits_);
    streams_.emplace(originator, stream);
    return stream;
}

void Tm_chunk_receiver::receive(int originator, unsigned char const* data, std::size_t size) {
    auto const stream = stream_of(originator);
    std::exception_ptr thrown;
    auto const is_current = [&] {
        auto const current = streams_.find(originator);
        return current != streams_.end() && current->second == stream;
    };
    bool goes_on = true;
    while (goes_on && is_current()) {
        std::size_t used = 0;
        try {
            Tm_chunk_outcome outcome;
            stream->read(data, size, used, outcome);
            goes_on = outcome.kind != Tm_chunk_outcome::Kind::none;
            if (goes_on) hand_out(originator, outcome);
        } catch (...) {
            if (thrown == nullptr) thrown = std::current_exception();
        }
        data += used;
        size -= used;
    }
    if (thrown != nullptr) std::rethrow_exception(thrown);
}

void Tm_chunk_receiver::hand_out(int originator, Tm_chunk_outcome& outcome) const {
    if (outcome.kind == Tm_chunk_outcome::Kind::message) {
        Tm_header const last_chunk = outcome.message->header;
        if (on_message_) on_message_(std::move(outcome.message), originator, last_chunk);
    } else if (on_error_) {
        on_error_(originator, outcome.seq_no, outcome.error);
    }
}

void Tm_chunk_receiver::forget(int originator) { streams_.erase(originator); }

/// All room is made first, so that nothing is lost half-way.
void Tm_chunk_receiver::collect_garbage() {
    std::size_t unfinished = 0;
    for (auto const& [originator, stream] : streams_) unfinished += stream->unfinished();
    std::vector<std::pair<int, unsigned int>> dropped;
    dropped.reserve(unfinished);
    std::string const text = idle_text;
    for (auto const& [originator, stream] : streams_) stream->collect_garbage(dropped);
    if (!on_error_) return;
    for (auto const& [originator, seq_no] : dropped) on_error_(originator, seq_no, text);
}
