#include "tmsg/message/message_chunk.h"

#include <unistd.h>

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

int MessageChunk::addBuffer(unsigned char const* data, unsigned int length) {
    refresh();
    total_length_ += length;
    decoder_.feed(data, length);
    return 0;
}
