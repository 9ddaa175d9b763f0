/// Cuts a stream of chunks, each behind its 8-byte header, where they begin and end. The stream may
/// come in pieces of any size. Tm_chunk_receiver makes messages of such a stream; this is for who
/// looks at the chunks themselves:
///
///     Tm_chunk_reader reader;
///     using Step = Tm_chunk_reader::Step;
///     while (std::size_t size = read_some(data)) {
///         for (Step step; (step = reader.next(data, size)) != Step::need_input;) {
///             if (step == Step::header) show(reader.offset(), reader.header());
///             if (step == Step::payload) use(reader.payload(), reader.payload_size());
///         }
///     }
///     if (reader.is_within_header() || reader.is_within_chunk()) report("the stream is cut");
#pragma once

#include <cstddef>
#include <string>

#include "tmsg/export.h"
#include "tmsg/message/tm_header.h"
#include "tmsg/value/tm_limits.h"

class TMSG_API Tm_chunk_reader {
public:
    /// The error of a message that ends, or begins again, before its last chunk.
    static constexpr char const* NO_LAST_CHUNK = "message without a last chunk";

    enum class Step {
        need_input,  ///< all input was read
        header,      ///< a chunk begins; header() is its own
        payload,     ///< payload() are the next bytes of it, one at least
        end          ///< the chunk is complete
    };

    /// Reads up to the next step and moves `data` and `size` behind what it has read. A chunk that
    /// is complete ends without further input.
    Step next(unsigned char const*& data, std::size_t& size);

    /// Of the chunk that began last.
    Tm_header const& header() const { return header_; }
    /// Part of the input that next() was given.
    unsigned char const* payload() const { return payload_; }
    std::size_t payload_size() const { return payload_size_; }
    /// Where in the stream the chunk begins; behind its end, where the next one does.
    std::size_t offset() const { return offset_; }

    /// A part of a header has come.
    bool is_within_header() const { return header_size_ > 0; }
    /// A chunk has begun, and its end was not returned yet.
    bool is_within_chunk() const { return in_chunk_; }

private:
    Step read_header(unsigned char const*& data, std::size_t& size);

    TM_HEADER header_bytes_ = {};
    std::size_t header_size_ = 0;  ///< header bytes read so far
    Tm_header header_;
    bool in_chunk_ = false;
    std::size_t payload_left_ = 0;
    unsigned char const* payload_ = nullptr;
    std::size_t payload_size_ = 0;
    std::size_t offset_ = 0;
};

/// Why a chunk with this header cannot be taken: it goes on with a message that none has begun, or
/// it begins one too many. Empty when it can. `is_known`: a chunk before has begun its message.
/// `unfinished`: how many other messages of the stream wait for their last chunk.
TMSG_API std::string tm_chunk_error(Tm_header const& header, bool is_known, std::size_t unfinished,
                                    Tm_limits const& limits);
