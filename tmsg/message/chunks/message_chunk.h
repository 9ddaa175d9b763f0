/// One message that is being put together from chunks. It decodes each payload at once, so that no
/// buffer holds the whole message. Most programs use Tm_chunk_receiver instead.
/// tm_bin_decoder_base.h names the exceptions that addBuffer() throws.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "tmsg/binary/tm_bin_decoder.h"
#include "tmsg/export.h"
#include "tmsg/fwd.h"

class TMSG_API MessageChunk {
public:
    /// The number of collections of garbage without new data after which a message is dropped.
    static constexpr int IDLE_LIMIT = 20;

    /// heldBytes() ignores the memory of the values up to this many bytes.
    static constexpr unsigned long FREE_MEMORY = 4096;

    /// The originator is any number that distinguishes connections. Messages of different
    /// originators may have the same sequence number.
    MessageChunk(unsigned int seq_no, int const& originator, Tm_limits const& limits = {});
    MessageChunk(MessageChunk const&) = delete;
    MessageChunk& operator=(MessageChunk const&) = delete;
    ~MessageChunk();

    /// Decodes a payload of any length. `data` must be valid during the call only. Bad data sets
    /// the error text. Always returns 0.
    int addBuffer(unsigned char const* data, unsigned int length);
    /// Call it after the last payload. It sets an error text when the message is incomplete.
    void finalize() { decoder_.finalize(); }

    /// Returns the low 32 bits of the number of payload bytes added so far.
    unsigned int getTotalBufferLength() const { return static_cast<unsigned int>(total_length_); }
    /// Returns the number of bytes that the message counts for Tm_limits::max_held_bytes. It is the
    /// number of payload bytes without the contents of files, or the memory of the values when that
    /// is larger. Memory up to FREE_MEMORY does not count.
    unsigned long heldBytes() const {
        unsigned long const payload = total_length_ - decoder_.file_bytes();
        unsigned long const memory = decoder_.memory();
        return memory > FREE_MEMORY ? std::max(payload, memory) : payload;
    }
    /// Returns whether there is an error text.
    bool hasError() const { return !decoder_.error().empty(); }
    /// Returns the error text, which is empty when there is no error.
    std::string const& error() const { return decoder_.error(); }
    unsigned int getSeqNo() const { return seq_no_; }
    int getOriginator() const { return originator_; }

    /// Returns the message with the members that have arrived. This object still owns it. Do not
    /// change it before it is complete. Returns null after releaseMessage().
    Message* getMessage() const { return decoder_.message(); }
    /// Returns the message, which the caller owns from now on.
    Message* releaseMessage() { return decoder_.release_msg(); }

    /// Returns the paths of the files that were received completely so far.
    std::vector<std::string> const& receivedFiles() const { return decoder_.received_files(); }
    /// Removes the received files. Call it before a message that is not released is destroyed. A
    /// child process does not remove the files of its parent.
    void removeReceivedFiles() const;

    /// Starts the count of timeout() again, as addBuffer() does.
    void refresh() { countdown_ = IDLE_LIMIT; }
    /// Counts one collection of garbage. The IDLE_LIMIT-th call since the last refresh() returns
    /// true: the message is to be dropped. All other calls return false.
    bool timeout() { return countdown_-- == 1; }

private:
    unsigned int seq_no_;
    int originator_;
    int countdown_ = IDLE_LIMIT;
    unsigned long total_length_ = 0;
    Tm_bin_decoder decoder_;
};
