#include "tmsg/transport/tm_chunk_sender.h"

#include <algorithm>
#include <cstring>
#include <typeinfo>

#include "tmsg/binary/tm_bin_encoder.h"
#include "tmsg/binary/tm_name_lengths.h"
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

/// Nobody could decode a message of which a file ends before its announced length.
class Whole_file_encoder : public Tm_bin_encoder {
public:
    Whole_file_encoder(int chunk_size, int header_size) : Tm_bin_encoder(chunk_size, header_size) {
        // Files of which only the descriptor is known are never written by others.
        take_wire_room(typeid(Whole_file_encoder));
    }

    using Tm_bin_encoder::visit_file_continue;
    bool visit_file_continue(int fd, std::string const& path, unsigned int length) override {
        int const before = fill_position();
        if (!Tm_bin_encoder::visit_file_continue(fd, path, length)) return false;
        bool const is_whole = fill_position() - before == static_cast<int>(length);
        if (!is_whole) throw Tm_file_read_exception(path);
        return true;
    }
};

}  // namespace

Tm_chunk_sender::Tm_chunk_sender(int chunk_size)
    : encoder_(std::make_unique<Whole_file_encoder>(checked_chunk_size(chunk_size),
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

    encoder_->begin_fill();
    for (bool last = false; !last;) {
        // A complete walk leaves no more than a chunk: the last event is one byte.
        if (encoder_->check_state()) last = message.accept(*encoder_);

        int const payload = std::min(encoder_->fill_position(), encoder_->chunk_size());
        header.set_length(static_cast<unsigned int>(payload));
        header.set_last_chunk(last);
        std::memcpy(encoder_->buffer(), header.record().bytes, sizeof(TM_HEADER));
        if (!sink(encoder_->buffer(), sizeof(TM_HEADER) + static_cast<std::size_t>(payload))) {
            return false;
        }
        header.set_first_chunk(false);
        encoder_->continue_fill();
    }
    // Lets go of what was read ahead of a file.
    encoder_->begin_fill();
    return true;
}
