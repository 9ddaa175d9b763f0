#include "tmsg/transport/tm_chunk_sender.h"

#include "tmsg/message/message.h"

Tm_chunk_sender::Tm_chunk_sender(int chunk_size) : source_(chunk_size) {}

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
    struct End {
        Tm_chunk_source& source;
        ~End() { source.end(); }
    };
    source_.begin(message, seq_no, tmport);
    End const end{source_};
    unsigned char const* chunk = nullptr;
    for (std::size_t size = 0; source_.next(chunk, size);) {
        if (!sink(chunk, size)) return false;
    }
    return true;
}
