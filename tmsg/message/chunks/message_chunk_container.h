/// The messages under reassembly, by sequence number and originator. Owns the chunks it holds. One
/// thread at a time.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <utility>

#include "tmsg/export.h"
#include "tmsg/message/chunks/message_chunk.h"

class TMSG_API MessageChunkContainer {
public:
    MessageChunkContainer();
    MessageChunkContainer(MessageChunkContainer const&) = delete;
    MessageChunkContainer& operator=(MessageChunkContainer const&) = delete;
    ~MessageChunkContainer();

    /// Null when there is none. With `remove` the chunk is taken out and the caller owns it.
    MessageChunk* findChunk(unsigned int seq_no, int const& originator, bool remove);
    /// Takes the chunk over, which is freed on failure. One already there with the same sequence
    /// number and originator leaves the container without being deleted. Always 0.
    int putChunk(MessageChunk* chunk);
    /// Deletes the chunk; -1 when it is not here.
    int removeChunk(MessageChunk* chunk);

    /// Counts one idle round for every chunk and deletes those for which it was the last: the 20th
    /// after their last data.
    void collectGarbage();
    /// The same, but gives those chunks to `take`, which must not throw.
    template <class Take>
    void takeExpired(Take take) {
        for (auto at = chunks_.begin(); at != chunks_.end();) {
            if (at->second->timeout()) {
                take(std::move(at->second));
                at = chunks_.erase(at);
            } else {
                ++at;
            }
        }
    }
    /// Takes every chunk of the originator out and gives it to `take`, which must not throw.
    template <class Take>
    void takeAllOf(int originator, Take take) {
        auto at = chunks_.lower_bound({originator, 0});
        while (at != chunks_.end() && at->first.first == originator) {
            take(std::move(at->second));
            at = chunks_.erase(at);
        }
    }
    std::size_t size() const { return chunks_.size(); }
    /// Calls `visit(chunk)` for every chunk.
    template <class Visit>
    void forEach(Visit visit) const {
        for (auto const& held : chunks_) visit(*held.second);
    }

private:
    /// Originator and sequence number: those of one originator stand together.
    using Key = std::pair<int, unsigned int>;

    std::map<Key, std::unique_ptr<MessageChunk>> chunks_;
};
