#include "tmsg/transport/tm_chunk_source.h"

#include <algorithm>
#include <cstring>

#include "tmsg/binary/internal/tm_sendable.h"
#include "tmsg/message/message.h"
#include "tmsg/value/tm_exception.h"

namespace {

int checked_chunk_size(int chunk_size) {
    int const largest = static_cast<int>(Tm_header::MAX_LENGTH);
    if (chunk_size < 1 || chunk_size > largest) {
        throw Tm_out_of_range_exception("chunk size", chunk_size, 1, largest);
    }
    return chunk_size;
}

}  // namespace

Tm_chunk_source::Tm_chunk_source(int chunk_size)
    : encoder_(std::make_unique<Tm_whole_file_encoder>(checked_chunk_size(chunk_size),
                                                       static_cast<int>(sizeof(TM_HEADER)))) {}

Tm_chunk_source::Tm_chunk_source(Message const& message, unsigned int seq_no, unsigned char tmport,
                                 int chunk_size)
    : Tm_chunk_source(chunk_size) {
    begin(message, seq_no, tmport);
}

Tm_chunk_source::~Tm_chunk_source() = default;

void Tm_chunk_source::begin(Message const& message, unsigned int seq_no, unsigned char tmport) {
    end();
    corrected_ = tm_corrected_copy(message);
    message_ = corrected_ != nullptr ? corrected_.get() : &message;
    header_ = Tm_header();
    header_.set_seq_no(seq_no);
    header_.set_tmport(tmport);
    is_begun_ = false;
    is_walked_ = false;
}

/// Makes the encoder ready for the next message.
void Tm_chunk_source::end() noexcept {
    if (message_ == nullptr) return;
    message_ = nullptr;
    corrected_.reset();
    encoder_->begin_fill();
}

bool Tm_chunk_source::next(unsigned char const*& chunk, std::size_t& size) {
    if (message_ == nullptr) return false;
    if (header_.get_last_chunk()) {
        end();
        return false;
    }
    try {
        size = fill_chunk();
    } catch (...) {
        end();
        throw;
    }
    chunk = encoder_->buffer();
    return true;
}

/// Returns the size of the chunk with its header.
std::size_t Tm_chunk_source::fill_chunk() {
    bool const is_first = !is_begun_;
    is_begun_ = true;
    bool const has_room = is_first || encoder_->continue_fill();
    if (has_room && !is_walked_) is_walked_ = message_->accept(*encoder_);
    int const payload = std::min(encoder_->fill_position(), encoder_->chunk_size());
    header_.set_first_chunk(is_first);
    header_.set_last_chunk(is_walked_ && payload == encoder_->fill_position());
    header_.set_length(static_cast<unsigned int>(payload));
    std::memcpy(encoder_->buffer(), header_.record().bytes, sizeof(TM_HEADER));
    return sizeof(TM_HEADER) + static_cast<std::size_t>(payload);
}

std::string tm_to_chunks(Message const& message, unsigned int seq_no, int chunk_size) {
    std::string chunks;
    Tm_chunk_source source(message, seq_no, 0, chunk_size);
    unsigned char const* chunk = nullptr;
    for (std::size_t size = 0; source.next(chunk, size);) {
        chunks.append(reinterpret_cast<char const*>(chunk), size);
    }
    return chunks;
}
