#include "tmsg/message/chunks/message_chunk_container.h"

#include <algorithm>
#include <utility>

MessageChunkContainer::MessageChunkContainer() = default;

MessageChunkContainer::~MessageChunkContainer() = default;

MessageChunkContainer::Chunks::iterator MessageChunkContainer::find(unsigned int seq_no,
                                                                    int originator) {
    auto const [first, last] = chunks_.equal_range(seq_no);
    auto const found = std::find_if(
        first, last, [&](auto const& held) { return held.second->getOriginator() == originator; });
    return found == last ? chunks_.end() : found;
}

MessageChunk* MessageChunkContainer::findChunk(unsigned int seq_no, int const& originator,
                                               bool remove) {
    auto const found = find(seq_no, originator);
    if (found == chunks_.end()) return nullptr;
    if (!remove) return found->second.get();
    MessageChunk* const taken = found->second.release();
    chunks_.erase(found);
    return taken;
}

int MessageChunkContainer::putChunk(MessageChunk* chunk) {
    std::unique_ptr<MessageChunk> owned(chunk);
    auto const known = find(chunk->getSeqNo(), chunk->getOriginator());
    if (known == chunks_.end()) {
        chunks_.emplace(chunk->getSeqNo(), std::move(owned));
    } else {
        auto node = chunks_.extract(known);
        static_cast<void>(node.mapped().release());
        node.mapped() = std::move(owned);
        chunks_.insert(std::move(node));
    }
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
