#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/value/tm_decimal.h"
#include "tmsg/value/tm_folded_events.h"
#include "tmsg/value/tm_limits.h"
#include "tmsg/value/tm_plain.h"

/// Writes a message or value as XML in the style of a method call, in pieces of a fixed size:
///
///     encoder.begin_fill();
///     while (!message.accept(encoder)) {
///         do ship(encoder.data(), encoder.chunk_size()); while (!encoder.continue_fill());
///     }
///     // ship what is left, fill() bytes: more than a piece at most by the last event
///
/// The encoder holds one piece, not the message. The price is that each piece walks the message
/// again from its start, which must not change in between. Nothing is escaped and byte
/// strings stand as they are, so that only a message of plain text gives well-formed XML. A
/// negative 64-bit number is written as if it were unsigned.
/// A derived class says how files are written: Tm_xml_file_size_encoder writes their sizes.
class TMSG_API Tm_xml_encoder : public Tm_folded_events<Tm_xml_encoder> {
public:
    /// Bytes of a piece, at least 1; Tm_out_of_range_exception otherwise. An event that would make
    /// the text of a message longer than `max_text` bytes throws Tm_exception; begin_fill() starts
    /// anew then.
    explicit Tm_xml_encoder(int chunk_size, unsigned long max_text = tm_no_text_limit);
    Tm_xml_encoder(Tm_xml_encoder const&) = delete;
    Tm_xml_encoder& operator=(Tm_xml_encoder const&) = delete;
    ~Tm_xml_encoder() override;

    /// Starts a message.
    void begin_fill();
    /// After a full piece was shipped: moves what passed its end to the front. False: that is
    /// another full piece, to be shipped before accept() starts again.
    bool continue_fill() { return small_chunk_continue(); }
    bool small_chunk_continue();
    /// Every event asks first. False: the piece is full; else the event counts, written or skipped.
    bool check_state();

    /// Valid until the next event.
    char const* data() const { return buffer_.data(); }
    int fill() const { return fill_; }
    /// The same, by the name that Tm_bin_encoder has for it.
    int fill_position() const { return fill_; }
    int chunk_size() const { return chunk_size_; }

    using Tm_folded_events::visit_file_begin;
    bool visit_file_begin(unsigned int length) override = 0;
    using Tm_folded_events::visit_file_continue;
    bool visit_file_continue(char const* data, unsigned int length) override = 0;

protected:
    /// One event: its text is written, unless an earlier piece holds it. False: the piece is full.
    bool put_text(std::string_view text);
    /// The same for `<value><TAG>TEXT</TAG></value>`.
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
    void append(std::string_view text);

    std::vector<char> buffer_;
    int fill_ = 0;
    int chunk_size_;
    bool writing_ = true;
    long counted_ = 0;  ///< events of this pass
    long resume_ = 0;   ///< events that earlier passes have written
    Tm_piece_count pieces_;
    unsigned long max_text_;
    unsigned long shipped_ = 0;  ///< bytes of the pieces before this one
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
