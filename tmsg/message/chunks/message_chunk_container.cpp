#include "tmsg/message/chunks/message_chunk_container.h"

#include <algorithm>
#include <utility>

MessageChunkContainer::MessageChunkContainer() = default;

MessageChunkContainer::~MessageChunkContainer() = default;

MessageChunk* MessageChunkContainer::findChunk(unsigned int seq_no, int const& originator,
                                               bool remove) {
    auto const found = chunks_.find({originator, seq_no});
    if (found == chunks_.end()) return nullptr;
    if (!remove) return found->second.get();
    MessageChunk* const taken = found->second.release();
    chunks_.erase(found);
    return taken;
}

int MessageChunkContainer::putChunk(MessageChunk* chunk) {
    std::unique_ptr<MessageChunk> owned(chunk);
    auto& place = chunks_[{chunk->getOriginator(), chunk->getSeqNo()}];
    static_cast<void>(place.release());
    place = std::move(owned);
    return 0;
}

int MessageChunkContainer::removeChunk(MessageChunk* chunk) {
    auto const found = std::find_if(chunks_.begin(), chunks_.end(),
                                    [&](auto const& held) { return held.second.get() == chunk; });
    if (found == chunks_.end()) return -1;
    chunks_.erase(found);
    return 0;
}

void MessageChunkContainer::collectGarbage() {
    takeExpired([](std::unique_ptr<MessageChunk> const&) {});
}
