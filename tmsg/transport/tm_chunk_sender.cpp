#include "tmsg/transport/tm_chunk_sender.h"

#include <cstring>

#include "tmsg/binary/internal/tm_sendable.h"
#include "tmsg/binary/tm_whole.h"
#include "tmsg/message/message.h"
#include "tmsg/message/tm_header.h"
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

Tm_chunk_sender::Tm_chunk_sender(int chunk_size)
    : encoder_(std::make_unique<Tm_whole_file_encoder>(checked_chunk_size(chunk_size),
                                                       static_cast<int>(sizeof(TM_HEADER)))) {}

Tm_chunk_sender::~Tm_chunk_sender() = default;

bool Tm_chunk_sender::send(Message const& message, unsigned int seq_no, unsigned char tmport,
                           Sink const& sink, Names names) {
    if (names == Names::as_built) return send_as_it_is(message, sink, seq_no, tmport);
    Message indexed(message);
    indexed.index_member_names();
    return send_as_it_is(indexed, sink, seq_no, tmport);
}

bool Tm_chunk_sender::send_as_it_is(Message const& message, Sink const& sink, unsigned int seq_no,
                                    unsigned char tmport) {
    tm_check_name_lengths(message);
    Tm_header header;
    header.set_seq_no(seq_no);
    header.set_tmport(tmport);
    header.set_first_chunk(true);

    return tm_encode_pieces(
        message, *encoder_, [&](unsigned char const*, std::size_t payload, bool is_last) {
            header.set_length(static_cast<unsigned int>(payload));
            header.set_last_chunk(is_last);
            std::memcpy(encoder_->buffer(), header.record().bytes, sizeof(TM_HEADER));
            header.set_first_chunk(false);
            return sink(encoder_->buffer(), sizeof(TM_HEADER) + payload);
        });
}
