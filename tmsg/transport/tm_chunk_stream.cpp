#include "tmsg/transport/tm_chunk_stream.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <new>

#include "tmsg/message/message.h"
#include "tmsg/value/tm_limit_error.h"

namespace {

/// Corrects the sum of held bytes after a message has taken some, after an exception too.
class Recount {
public:
    Recount(std::size_t& sum, MessageChunk const& message) : sum_(sum), message_(message) {
        sum_ -= message_.heldBytes();
    }
    Recount(Recount const&) = delete;
    Recount& operator=(Recount const&) = delete;
    ~Recount() { sum_ += message_.heldBytes(); }

private:
    std::size_t& sum_;
    MessageChunk const& message_;
};

}  // namespace

void Tm_chunk_stream::Remove_with_files::operator()(MessageChunk* message) const {
    message->removeReceivedFiles();
    delete message;
}

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
    if (Unfinished const unfinished = take_message()) {
        unfinished->finalize();
        report(unfinished->hasError() ? unfinished->error() : "message without a last chunk",
               outcome);
    }
    // A message of one chunk is finished with it.
    if (messages_.size() >= limits_.max_unfinished && !header_.get_last_chunk()) {
        return refuse_message(tm_too_many_unfinished(limits_), outcome);
    }
    try {
        messages_.putChunk(
            std::make_unique<MessageChunk>(header_.get_seq_no(), originator_, limits_).release());
    } catch (std::bad_alloc const&) {
        drop_message();
        throw;
    }
}

void Tm_chunk_stream::add_payload(unsigned char const* data, std::size_t size,
                                  Tm_chunk_outcome& outcome) {
    MessageChunk* const message = messages_.findChunk(header_.get_seq_no(), originator_, false);
    if (message == nullptr) return;
    std::size_t added = 0;
    try {
        added = add_what_fits(*message, data, size);
    } catch (std::bad_alloc const&) {
        drop_message();
        throw;
    } catch (std::exception const& failure) {
        refuse_message(failure.what(), outcome);
        return;
    }
    if (message->hasError()) {
        refuse_message(message->error(), outcome);
    } else if (added < size) {
        refuse_message(tm_too_much_held(limits_), outcome);
    }
}

/// Up to an error of the message, or until there is no room. The content of files makes room again,
/// so what fits does not depend on how the input was cut. Returns the bytes added.
std::size_t Tm_chunk_stream::add_what_fits(MessageChunk& message, unsigned char const* data,
                                           std::size_t size) {
    std::size_t added = 0;
    while (added < size && held_bytes_ < limits_.max_held_bytes && !message.hasError()) {
        std::size_t const part = std::min(size - added, limits_.max_held_bytes - held_bytes_);
        Recount const recount(held_bytes_, message);
        message.addBuffer(data + added, static_cast<unsigned int>(part));
        added += part;
    }
    return added;
}

/// The text may be the message's own.
void Tm_chunk_stream::refuse_message(std::string const& text, Tm_chunk_outcome& outcome) {
    Unfinished const refused = take_message();
    report(text, outcome);
    ignore_rest();
}

void Tm_chunk_stream::drop_message() {
    take_message();
    ignore_rest();
}

/// Of as many messages as there may be unfinished ones.
void Tm_chunk_stream::ignore_rest() {
    bool const goes_on = !header_.get_last_chunk();
    if (goes_on && refused_.size() < limits_.max_unfinished) {
        refused_[header_.get_seq_no()] = MessageChunk::IDLE_LIMIT;
    }
}

void Tm_chunk_stream::end_chunk(Tm_chunk_outcome& outcome) {
    if (!header_.get_last_chunk()) return;
    refused_.erase(header_.get_seq_no());
    Unfinished finished = take_message();
    if (finished == nullptr) return;
    finished->finalize();
    if (finished->hasError()) return report(finished->error(), outcome);
    outcome.kind = Tm_chunk_outcome::Kind::message;
    outcome.seq_no = header_.get_seq_no();
    outcome.message.reset(finished->releaseMessage());
    outcome.message->header = header_;
    // Its files are the message's.
    std::unique_ptr<MessageChunk> const emptied(finished.release());
}

void Tm_chunk_stream::report(std::string const& text, Tm_chunk_outcome& outcome) const {
    outcome.kind = Tm_chunk_outcome::Kind::error;
    outcome.seq_no = header_.get_seq_no();
    outcome.error = text;
}

/// The message of the current chunk, out of the reassembly; null when it is not known.
Tm_chunk_stream::Unfinished Tm_chunk_stream::take_message() {
    Unfinished message(messages_.findChunk(header_.get_seq_no(), originator_, true));
    if (message != nullptr) held_bytes_ -= message->heldBytes();
    return message;
}

void Tm_chunk_stream::collect_garbage(std::vector<std::pair<int, unsigned int>>& dropped) {
    messages_.takeExpired([&](std::unique_ptr<MessageChunk> expired) {
        Unfinished const message(expired.release());
        held_bytes_ -= message->heldBytes();
        dropped.emplace_back(originator_, message->getSeqNo());
    });
    for (auto at = refused_.begin(); at != refused_.end();) {
        at = --at->second == 0 ? refused_.erase(at) : std::next(at);
    }
}
