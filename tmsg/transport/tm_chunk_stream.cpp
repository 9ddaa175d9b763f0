#include "tmsg/transport/tm_chunk_stream.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <new>

#include "tmsg/creator/tm_limit_error.h"
#include "tmsg/message/message.h"

Tm_chunk_stream::~Tm_chunk_stream() {
    messages_.forEach([](MessageChunk const& message) { message.removeReceivedFiles(); });
}

void Tm_chunk_stream::read(unsigned char const* data, std::size_t size, std::size_t& used,
                           Tm_chunk_outcome& outcome) {
    while (outcome.kind == Tm_chunk_outcome::Kind::none) {
        if (!in_chunk_) {
            used += read_header(data + used, size - used);
            if (!in_chunk_) break;
            begin_chunk(outcome);
            continue;
        }
        unsigned char const* const piece = data + used;
        std::size_t const length = std::min(payload_left_, size - used);
        used += length;
        payload_left_ -= length;
        if (length > 0) add_payload(piece, length, outcome);
        if (payload_left_ > 0) break;
        in_chunk_ = false;
        end_chunk(outcome);
    }
}

std::size_t Tm_chunk_stream::read_header(unsigned char const* data, std::size_t size) {
    std::size_t const piece = std::min(sizeof header_bytes_.bytes - header_size_, size);
    if (piece > 0) std::memcpy(header_bytes_.bytes + header_size_, data, piece);
    header_size_ += piece;
    if (header_size_ == sizeof header_bytes_.bytes) {
        header_ = header_bytes_;
        header_size_ = 0;
        payload_left_ = header_.get_length();
        in_chunk_ = true;
    }
    return piece;
}

void Tm_chunk_stream::begin_chunk(Tm_chunk_outcome& outcome) {
    unsigned int const seq_no = header_.get_seq_no();
    if (header_.get_first_chunk()) {
        begin_message(outcome);
    } else if (auto const refused = refused_.find(seq_no); refused != refused_.end()) {
        refused->second = MessageChunk::IDLE_LIMIT;
    } else if (messages_.findChunk(seq_no, originator_, false) == nullptr) {
        report("chunk continues no known message", outcome);
    }
}

void Tm_chunk_stream::begin_message(Tm_chunk_outcome& outcome) {
    refused_.erase(header_.get_seq_no());
    if (auto const unfinished = take_message()) {
        unfinished->removeReceivedFiles();
        unfinished->finalize();
        report(unfinished->hasError() ? unfinished->error() : "message without a last chunk",
               outcome);
    }
    if (messages_.size() >= limits_.max_unfinished) {
        return refuse_message(tm_too_many_unfinished(limits_), outcome);
    }
    try {
        messages_.putChunk(
            std::make_unique<MessageChunk>(header_.get_seq_no(), originator_, limits_).release());
    } catch (std::bad_alloc const&) {
        drop_message();
        throw;
    } catch (std::exception const& failure) {
        refuse_message(failure.what(), outcome);
    }
}

void Tm_chunk_stream::add_payload(unsigned char const* data, std::size_t size,
                                  Tm_chunk_outcome& outcome) {
    MessageChunk* const message = messages_.findChunk(header_.get_seq_no(), originator_, false);
    if (message == nullptr) return;
    if (size > limits_.max_held_bytes - std::min(held_bytes_, limits_.max_held_bytes)) {
        return refuse_message(tm_too_much_held(limits_), outcome);
    }
    held_bytes_ += size;
    try {
        message->addBuffer(data, static_cast<unsigned int>(size));
    } catch (std::bad_alloc const&) {
        drop_message();
        throw;
    } catch (std::exception const& failure) {
        refuse_message(failure.what(), outcome);
        return;
    }
    if (message->hasError()) refuse_message(message->error(), outcome);
}

void Tm_chunk_stream::refuse_message(std::string const& text, Tm_chunk_outcome& outcome) {
    report(text, outcome);
    drop_message();
}

/// The rest of it is ignored.
void Tm_chunk_stream::drop_message() {
    if (auto const message = take_message()) message->removeReceivedFiles();
    bool const goes_on = !header_.get_last_chunk();
    if (goes_on && refused_.size() < limits_.max_unfinished) {
        refused_[header_.get_seq_no()] = MessageChunk::IDLE_LIMIT;
    }
}

void Tm_chunk_stream::end_chunk(Tm_chunk_outcome& outcome) {
    if (!header_.get_last_chunk()) return;
    refused_.erase(header_.get_seq_no());
    auto const finished = take_message();
    if (finished == nullptr) return;
    finished->finalize();
    if (finished->hasError()) {
        finished->removeReceivedFiles();
        report(finished->error(), outcome);
        return;
    }
    outcome.kind = Tm_chunk_outcome::Kind::message;
    outcome.seq_no = header_.get_seq_no();
    outcome.message.reset(finished->releaseMessage());
    outcome.message->header = header_;
}

void Tm_chunk_stream::report(std::string const& text, Tm_chunk_outcome& outcome) const {
    outcome.kind = Tm_chunk_outcome::Kind::error;
    outcome.seq_no = header_.get_seq_no();
    outcome.error = text;
}

/// The message of the current chunk, out of the reassembly; null when it is not known.
std::unique_ptr<MessageChunk> Tm_chunk_stream::take_message() {
    std::unique_ptr<MessageChunk> message(
        messages_.findChunk(header_.get_seq_no(), originator_, true));
    if (message != nullptr) held_bytes_ -= message->heldBytes();
    return message;
}

std::vector<unsigned int> Tm_chunk_stream::collect_garbage() {
    std::vector<unsigned int> dropped;
    for (auto const& message : messages_.takeExpired()) {
        message->removeReceivedFiles();
        held_bytes_ -= message->heldBytes();
        dropped.push_back(message->getSeqNo());
    }
    for (auto at = refused_.begin(); at != refused_.end();) {
        at = --at->second == 0 ? refused_.erase(at) : std::next(at);
    }
    return dropped;
}
