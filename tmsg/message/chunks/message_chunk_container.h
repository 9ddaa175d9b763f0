/// The messages that are being put together, found by sequence number and originator. The container
/// owns them. Only one thread at a time may use it.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <utility>

#include "tmsg/export.h"
#include "tmsg/fwd.h"
#include "tmsg/message/chunks/message_chunk.h"

class TMSG_API MessageChunkContainer {
public:
    MessageChunkContainer();
    MessageChunkContainer(MessageChunkContainer const&) = delete;
    MessageChunkContainer& operator=(MessageChunkContainer const&) = delete;
    ~MessageChunkContainer();

    /// Returns the message, or null when there is no such message. With `remove`, the message
    /// leaves the container and the caller owns it. Otherwise the container still owns it.
    MessageChunk* findChunk(unsigned int seq_no, int const& originator, bool remove);
    /// Takes ownership of the message, and deletes it when the call throws. A message with the same
    /// sequence number and originator leaves the container and is not deleted: the caller owns it.
    /// `chunk` must not be null. Always returns 0.
    int putChunk(MessageChunk* chunk);
    /// Deletes the message and returns 0. Returns -1 when it is not in the container.
    int removeChunk(MessageChunk* chunk);

    /// Calls timeout() of every message, and deletes those for which it returns true.
    void collectGarbage();
    /// Returns the number of messages.
    std::size_t size() const { return chunks_.size(); }

private:
    friend class Tm_chunk_receiver;

    /// Does the same as collectGarbage(), but passes those messages to `take` as std::unique_ptr.
    /// `take` must not throw.
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
    /// Passes every message of the originator to `take` as std::unique_ptr. The messages leave the
    /// container. `take` must not throw.
    template <class Take>
    void takeAllOf(int originator, Take take) {
        auto at = chunks_.lower_bound({originator, 0});
        while (at != chunks_.end() && at->first.first == originator) {
            take(std::move(at->second));
            at = chunks_.erase(at);
        }
    }
    /// Calls `visit` with every message, as a MessageChunk&.
    template <class Visit>
    void forEach(Visit visit) const {
        for (auto const& held : chunks_) visit(*held.second);
    }

    /// Originator and sequence number, in this order, so that takeAllOf() finds the messages of one
    /// originator side by side.
    using Key = std::pair<int, unsigned int>;

    std::map<Key, std::unique_ptr<MessageChunk>> chunks_;
};
