/// One message that is being put together from chunks. Every payload goes straight into the decoder
/// of the message, so that no buffer holds the whole message. Tm_bin_decoder_base has the limits,
/// and the exceptions that addBuffer() throws.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "tmsg/binary/tm_bin_decoder.h"
#include "tmsg/export.h"

class TMSG_API MessageChunk {
public:
    /// A message is dropped with this collection of garbage after its last data.
    static constexpr int IDLE_LIMIT = 20;

    /// heldBytes() does not count the values of a message that take up to this many bytes of
    /// memory.
    static constexpr unsigned long FREE_MEMORY = 4096;

    /// The originator is any number that tells connections apart. Messages of different originators
    /// may have the same sequence number.
    MessageChunk(unsigned int seq_no, int const& originator, Tm_limits const& limits = {});
    MessageChunk(MessageChunk const&) = delete;
    MessageChunk& operator=(MessageChunk const&) = delete;
    ~MessageChunk();

    /// Decodes a payload of any length. The bytes are not needed after the call. Always returns 0.
    int addBuffer(unsigned char const* data, unsigned int length);
    /// Call it after the last payload. It sets an error text when the message is incomplete.
    void finalize() { decoder_.finalize(); }

    /// Returns the low 32 bits of the number of payload bytes added so far.
    unsigned int getTotalBufferLength() const { return static_cast<unsigned int>(total_length_); }
    /// Returns the payload bytes that are not the content of files, or the bytes of memory that the
    /// values take if these are more than that and more than FREE_MEMORY.
    unsigned long heldBytes() const {
        unsigned long const payload = total_length_ - decoder_.file_bytes();
        unsigned long const memory = decoder_.memory();
        return memory > FREE_MEMORY ? std::max(payload, memory) : payload;
    }
    bool hasError() const { return !decoder_.error().empty(); }
    std::string const& error() const { return decoder_.error(); }
    unsigned int getSeqNo() const { return seq_no_; }
    int getOriginator() const { return originator_; }

    /// Returns the message under construction, which the decoder still owns. It must not be changed
    /// before it is complete. Returns null after releaseMessage().
    Message* getMessage() const { return decoder_.message(); }
    /// Returns the message, which the caller owns from now on.
    Message* releaseMessage() { return decoder_.release_msg(); }

    /// Returns the paths of the files that were received completely so far.
    std::vector<std::string> const& receivedFiles() const { return decoder_.received_files(); }
    /// Removes the received files when the message is given up. A child process does not remove the
    /// files of its parent.
    void removeReceivedFiles() const;

    /// Restarts the count of timeout(). addBuffer() does it too.
    void refresh() { countdown_ = IDLE_LIMIT; }
    /// Counts one collection of garbage. Returns true when the message is to be dropped.
    bool timeout() { return countdown_-- == 1; }

private:
    unsigned int seq_no_;
    int originator_;
    int countdown_ = IDLE_LIMIT;
    unsigned long total_length_ = 0;
    Tm_bin_decoder decoder_;
};
