/// One message under reassembly: every payload goes straight into its own decoder, so that no
/// buffer of the whole message is kept. Limits, and exceptions out of addBuffer(), are those of the
/// decoder (see Tm_bin_decoder_base).
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "tmsg/binary/tm_bin_decoder.h"
#include "tmsg/export.h"

class TMSG_API MessageChunk {
public:
    /// The collection of garbage after its last data with which a message is dropped.
    static constexpr int IDLE_LIMIT = 20;

    /// Values that take up to this many bytes of memory are not counted as held.
    static constexpr unsigned long FREE_MEMORY = 4096;

    /// The originator tells apart messages of equal sequence number from different senders.
    MessageChunk(unsigned int seq_no, int const& originator, Tm_limits const& limits = {});
    MessageChunk(MessageChunk const&) = delete;
    MessageChunk& operator=(MessageChunk const&) = delete;
    ~MessageChunk();

    /// Decodes a payload of any length as far as it goes. Always 0.
    int addBuffer(unsigned char const* data, unsigned int length);
    /// Says that the last payload was added: an incomplete message becomes an error.
    void finalize() { decoder_.finalize(); }

    /// Payload bytes added so far, from 4 GiB on modulo that.
    unsigned int getTotalBufferLength() const { return static_cast<unsigned int>(total_length_); }
    /// The memory of its values beyond FREE_MEMORY, or those payload bytes that are not the content
    /// of files, whichever are more.
    unsigned long heldBytes() const {
        unsigned long const payload = total_length_ - decoder_.file_bytes();
        unsigned long const memory = decoder_.memory();
        return memory > FREE_MEMORY ? std::max(payload, memory) : payload;
    }
    bool hasError() const { return !decoder_.error().empty(); }
    std::string const& error() const { return decoder_.error(); }
    unsigned int getSeqNo() const { return seq_no_; }
    int getOriginator() const { return originator_; }

    /// The message under construction, still the decoder's, not to be changed before it is
    /// complete.
    Message* getMessage() const { return decoder_.message(); }
    /// The caller owns it from now on.
    Message* releaseMessage() { return decoder_.release_msg(); }

    /// The paths of the files that were received completely so far.
    std::vector<std::string> const& receivedFiles() const { return decoder_.received_files(); }
    /// Removes the files received for a message that is given up. A child process removes none of
    /// its parent's.
    void removeReceivedFiles() const;

    void refresh() { countdown_ = IDLE_LIMIT; }
    /// Counts one idle round; true when it was the last.
    bool timeout() { return countdown_-- == 1; }

private:
    unsigned int seq_no_;
    int originator_;
    int countdown_ = IDLE_LIMIT;
    unsigned long total_length_ = 0;
    Tm_bin_decoder decoder_;
};
