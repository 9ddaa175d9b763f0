#pragma once

#include <cstddef>
#include <string_view>

#include "tmsg/export.h"
#include "tmsg/value/tm_chunk_buffer.h"
#include "tmsg/value/tm_decimal.h"
#include "tmsg/value/tm_folded_events.h"
#include "tmsg/value/tm_limits.h"
#include "tmsg/value/tm_plain.h"

/// Writes a message or value as XML in the style of a method call, in chunks of a fixed size:
///
///     encoder.begin_fill();
///     while (!message.accept(encoder)) {
///         do ship(encoder.data(), encoder.chunk_size()); while (!encoder.continue_fill());
///     }
///     // ship the rest, fill() bytes; the last event may have passed the chunk size
///
/// The encoder holds one chunk, not the whole text. Therefore accept() walks the whole message
/// again for each chunk, and the message must not change in between.
/// The encoder escapes nothing and writes byte strings as they are, so that only a message of plain
/// text gives well-formed XML. It writes a negative int64 as if it were unsigned.
/// A derived class writes the files: Tm_xml_file_size_encoder writes their sizes.
class TMSG_API Tm_xml_encoder : public Tm_folded_events<Tm_xml_encoder> {
public:
    /// `chunk_size` is the number of bytes of a chunk, at least 1. Throws Tm_out_of_range_exception
    /// for other sizes. An event that would make the text of a message longer than `max_text` bytes
    /// throws Tm_exception. After that, begin_fill() begins the next message.
    explicit Tm_xml_encoder(int chunk_size, unsigned long max_text = tm_no_text_limit);
    Tm_xml_encoder(Tm_xml_encoder const&) = delete;
    Tm_xml_encoder& operator=(Tm_xml_encoder const&) = delete;
    ~Tm_xml_encoder() override;

    /// Begins a message.
    void begin_fill();
    /// Call it after a full chunk was shipped. It moves the bytes beyond the chunk size to the
    /// front. Returns false when they fill another chunk, which must be shipped before accept()
    /// starts again.
    bool continue_fill() { return small_chunk_continue(); }
    bool small_chunk_continue();
    /// Every event calls this first. Returns false when the chunk is full. Otherwise counts the
    /// event, which is then written, or skipped if it is in an earlier chunk.
    bool check_state();

    /// Returns the text of the chunk. The pointer is valid until the next event.
    char const* data() const { return reinterpret_cast<char const*>(chunk_.data()); }
    /// Returns the number of bytes of text in the buffer. It may be greater than the chunk size.
    int fill() const { return chunk_.fill(); }
    /// Returns the same. Tm_bin_encoder uses this name.
    int fill_position() const { return fill(); }
    int chunk_size() const { return chunk_.chunk_size(); }

    using Tm_folded_events::visit_file_begin;
    bool visit_file_begin(unsigned int length) override = 0;
    using Tm_folded_events::visit_file_continue;
    bool visit_file_continue(char const* data, unsigned int length) override = 0;

protected:
    /// Writes the text of one event, unless it is in an earlier chunk. Returns false when the chunk
    /// is full.
    bool put_text(std::string_view text);
    /// Does the same for `<value><TAG>TEXT</TAG></value>`.
    bool put_value(std::string_view tag, std::string_view text);

private:
    friend class Tm_folded_events<Tm_xml_encoder>;

    bool open(Tm_bracket bracket);
    bool close(Tm_bracket bracket);
    template <class Plain>
    bool put(Plain value) {
        return put_scalar(Tm_plain<Plain>::code, Tm_decimal(value));
    }
    bool put(long value) {
        return put_scalar(TMV_INT64, Tm_decimal(static_cast<unsigned long>(value)));
    }
    bool put(bool value) { return put_scalar(TMV_BOOL, value ? "1" : "0"); }
    bool put_scalar(TMV type, std::string_view text);
    bool begin(Tm_bytes bytes, unsigned int length);
    bool piece(Tm_bytes bytes, char const* data, unsigned int length);

    void make_room(std::size_t size);
    void append(std::string_view text) { chunk_.put_bytes(text.data(), text.size()); }

    Tm_chunk_buffer chunk_;
    bool writing_ = true;
    long counted_ = 0;  ///< events of this pass
    long resume_ = 0;   ///< events that earlier passes have written
    Tm_piece_count pieces_;
    unsigned long max_text_;
    unsigned long shipped_ = 0;  ///< bytes of the chunks before this one
};

/// An XML encoder that writes a file as its size in bytes, without its contents:
/// `<value><file>SIZE</file></value>`.
class TMSG_API Tm_xml_file_size_encoder : public Tm_xml_encoder {
public:
    using Tm_xml_encoder::Tm_xml_encoder;
    ~Tm_xml_file_size_encoder() override;

    using Tm_xml_encoder::visit_file_begin;
    bool visit_file_begin(unsigned int length) override;
    using Tm_xml_encoder::visit_file_continue;
    bool visit_file_continue(char const* data, unsigned int length) override;
};
