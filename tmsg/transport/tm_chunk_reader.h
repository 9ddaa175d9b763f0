/// Splits a stream of chunks into headers and payloads. Each chunk is its 8-byte header, then its
/// payload. The stream may come in pieces of any size. This class is for programs that look at the
/// chunks themselves. To receive messages, use Tm_chunk_receiver.
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
    /// The error text for a message that ends, or begins again, before its last chunk.
    static constexpr char const* NO_LAST_CHUNK = "message without a last chunk";

    enum class Step {
        need_input,  ///< all input was read
        header,      ///< a chunk begins; header() returns its header
        payload,     ///< payload() returns the next bytes of the chunk, at least one
        end          ///< the chunk is complete
    };

    /// Reads up to the next step and returns it. Moves `data` forward, and reduces `size`, by the
    /// bytes read. The end of a chunk needs no input.
    Step next(unsigned char const*& data, std::size_t& size);

    /// Returns the header of the last chunk that has begun.
    Tm_header const& header() const { return header_; }
    /// Returns a pointer into the input of the last next(). It is valid as long as that input.
    unsigned char const* payload() const { return payload_; }
    /// Returns the number of bytes at payload().
    std::size_t payload_size() const { return payload_size_; }
    /// Returns the position of the first byte of the chunk in the stream, in bytes. After
    /// Step::end, returns that of the next chunk.
    std::size_t offset() const { return offset_; }

    /// Returns true when a part of a header, but not all of it, was read.
    bool is_within_header() const { return header_size_ > 0; }
    /// Returns true when a chunk has begun and next() has not returned its end.
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

/// Returns an error text when a chunk with this header continues a message that no chunk has begun,
/// or begins a message beyond Tm_limits::max_unfinished. Returns an empty text for any other chunk.
/// `is_known` must be true when an earlier chunk has begun the message. `unfinished` is the number
/// of other messages of the stream that wait for their last chunk.
TMSG_API std::string tm_chunk_error(Tm_header const& header, bool is_known, std::size_t unfinished,
                                    Tm_limits const& limits);
