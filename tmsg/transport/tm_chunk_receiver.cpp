#include "tmsg/transport/tm_chunk_receiver.h"

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

void Tm_chunk_receiver::receive(int originator, unsigned char const* data, std::size_t size) {
    auto& slot = streams_[originator];
    if (slot == nullptr) slot = std::make_shared<Tm_chunk_stream>(originator, limits_);
    auto const stream = slot;

    std::vector<unsigned char> kept = std::move(stream->unread);
    stream->unread.clear();
    if (!kept.empty()) {
        kept.insert(kept.end(), data, data + size);
        data = kept.data();
        size = kept.size();
    }
    read_all(originator, *stream, data, size);
}

void Tm_chunk_receiver::read_all(int originator, Tm_chunk_stream& stream, unsigned char const* data,
                                 std::size_t size) {
    for (;;) {
        Tm_chunk_outcome outcome;
        std::size_t used = 0;
        try {
            stream.read(data, size, used, outcome);
            if (outcome.kind == Tm_chunk_outcome::Kind::none) return;
            hand_out(originator, outcome);
        } catch (...) {
            stream.unread.assign(data + used, data + size);
            throw;
        }
        data += used;
        size -= used;
        auto const current = streams_.find(originator);
        if (current == streams_.end() || current->second.get() != &stream) return;
    }
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

void Tm_chunk_receiver::collect_garbage() {
    std::vector<std::pair<int, unsigned int>> dropped;
    for (auto const& [originator, stream] : streams_) {
        for (unsigned int const seq_no : stream->collect_garbage()) {
            dropped.emplace_back(originator, seq_no);
        }
    }
    if (!on_error_) return;
    for (auto const& [originator, seq_no] : dropped) on_error_(originator, seq_no, idle_text);
}
