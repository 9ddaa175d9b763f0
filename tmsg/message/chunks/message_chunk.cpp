#include "tmsg/message/chunks/message_chunk.h"

#include "tmsg/message/message.h"
#include "tmsg/message/tm_children.h"

namespace {

constexpr unsigned int decoder_capacity = 4096;

}  // namespace

MessageChunk::MessageChunk(unsigned int seq_no, int const& originator, Tm_limits const& limits)
    : seq_no_(seq_no), originator_(originator), decoder_(decoder_capacity, limits) {}

MessageChunk::~MessageChunk() = default;

void MessageChunk::removeReceivedFiles() const { tm_remove_received_files(receivedFiles()); }

int MessageChunk::addBuffer(unsigned char const* data, unsigned int length) {
    refresh();
    total_length_ += length;
    decoder_.feed(data, length);
    return 0;
}
