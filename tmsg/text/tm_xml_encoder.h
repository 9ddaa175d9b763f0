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
/// strings stand as they are, so that only a message of plain text gives well-formed XML.
/// How files are written is for a derived class to say: Tm_xml_file_size_encoder is one.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/value/tm_limits.h"
#include "tmsg/value/tm_visitor.h"

class TMSG_API Tm_xml_encoder : public Tm_visitor {
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
    int chunk_size() const { return chunk_size_; }

    bool visit_method_begin(bool is_request) override;
    bool visit_method_end(bool is_request) override;
    bool visit_fault_begin() override;
    bool visit_fault_end() override;
    bool visit_method_name_begin(unsigned int length) override;
    bool visit_method_name_continue(char const* data, unsigned int length) override;
    bool visit_bool(bool value) override;
    bool visit_int8(signed char value) override;
    bool visit_uint8(unsigned char value) override;
    bool visit_int16(short value) override;
    bool visit_uint16(unsigned short value) override;
    bool visit_int32(int value) override;
    bool visit_uint32(unsigned int value) override;
    /// A negative value is written as if it were unsigned.
    bool visit_int64(long value) override;
    bool visit_uint64(unsigned long value) override;
    bool visit_double(double value) override;
    bool visit_string_begin(unsigned int length) override;
    bool visit_string_continue(char const* data, unsigned int length) override;
    bool visit_binary_begin(unsigned int length) override;
    bool visit_binary_continue(char const* data, unsigned int length) override;
    bool visit_struct_begin() override;
    bool visit_struct_end() override;
    bool visit_member_begin(unsigned int length) override;
    bool visit_member_continue(char const* data, unsigned int length) override;
    bool visit_member_end() override;
    bool visit_array_begin() override;
    bool visit_array_end() override;
    using Tm_visitor::visit_file_begin;
    using Tm_visitor::visit_file_continue;

protected:
    /// One event: its text is written, unless an earlier piece holds it. False: the piece is full.
    bool put(std::string_view text);
    /// The same for `<value><TAG>TEXT</TAG></value>`.
    bool put_value(std::string_view tag, std::string_view text);

private:
    bool begin_item(unsigned int length, std::string_view opening);
    bool put_piece(char const* data, unsigned int length, std::string_view closing);
    void make_room(std::size_t size);
    void append(std::string_view text);

    std::vector<char> buffer_;
    int fill_ = 0;
    int chunk_size_;
    bool writing_ = true;
    long counted_ = 0;  ///< events of this pass
    long resume_ = 0;   ///< events that earlier passes have written
    unsigned int received_ = 0;
    unsigned int expected_ = 0;
    unsigned long max_text_;
    unsigned long shipped_ = 0;  ///< bytes of the pieces before this one
};
