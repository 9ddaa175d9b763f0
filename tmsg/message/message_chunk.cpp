#include "tmsg/message/message_chunk.h"

#include <unistd.h>

#include <algorithm>

#include "tmsg/message/message.h"

namespace {

constexpr unsigned int decoder_capacity = 4096;

}  // namespace

MessageChunk::MessageChunk(unsigned int seq_no, int const& originator, Tm_limits const& limits)
    : seq_no_(seq_no), originator_(originator), decoder_(decoder_capacity, limits) {}

MessageChunk::~MessageChunk() = default;

void MessageChunk::removeReceivedFiles() const {
    for (std::string const& path : receivedFiles()) ::unlink(path.c_str());
}

/// After decode() less than one piece is left unread, so a slice of the decoder's capacity always
/// finds room.
int MessageChunk::addBuffer(unsigned char const* data, unsigned int length) {
    refresh();
    total_length_ += length;
    while (length > 0) {
        unsigned int const slice = std::min(length, decoder_capacity);
        decoder_.add_to_buffer(data, slice);
        decoder_.decode();
        data += slice;
        length -= slice;
    }
    return 0;
}
