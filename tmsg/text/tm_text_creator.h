#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "tmsg/binary/tm_bin_decoder_base.h"
#include "tmsg/creator/tm_creator_base.h"
#include "tmsg/value/tm_decimal.h"
#include "tmsg/value/tm_folded_events.h"
#include "tmsg/value/tm_limits.h"
#include "tmsg/value/tm_plain.h"

/// A creator that builds nothing. It prints the events as an indented dump for people. The dump
/// shows only the sizes of the pieces of byte strings and files, not their contents.
///
/// The caller owns the stream, which must outlive this object. Errors of writing to it are ignored.
///
/// An event returns false when it would nest deeper than Tm_limits::max_depth, or when it or an
/// earlier event would make the text too long. Both set the error text. All other events return
/// true.
class TMSG_API Tm_text_creator : public Tm_folded_events<Tm_text_creator, Tm_creator_base> {
public:
    /// The parts of a message that the dump labels.
    enum Type {
        TYPE_CALL,
        TYPE_METHOD_NAME,
        TYPE_RESPONSE,
        TYPE_FAULT,
        TYPE_MEMBER_NAME,
        TYPE_STRUCT,
        TYPE_ARRAY,
        TYPE_STRING,
        TYPE_DATE,
        TYPE_BINARY,
        TYPE_DOUBLE,
        TYPE_BOOL,
        TYPE_INT8,
        TYPE_UINT8,
        TYPE_INT16,
        TYPE_UINT16,
        TYPE_INT32,
        TYPE_UINT32,
        TYPE_INT64,
        TYPE_UINT64,
        TYPE_FILE
    };

    /// Writes at most `max_text` bytes to the stream. Of the limits, only max_depth has an effect.
    explicit Tm_text_creator(FILE* stream, Tm_limits const& limits = {},
                             unsigned long max_text = tm_no_text_limit);
    Tm_text_creator(Tm_text_creator const&) = delete;
    Tm_text_creator& operator=(Tm_text_creator const&) = delete;
    /// Flushes the stream.
    ~Tm_text_creator() override;

    /// Returns the label of a type, and "???" for any other number.
    static char const* type_to_c_str(Type type);

    /// Flushes the stream and empties the indent. Always returns true.
    bool done() override;
    /// Always returns false: names are read as text.
    bool support_member_with_index() override;

    /// Makes the indent longer by two spaces.
    void indent();
    /// Makes the indent shorter by two spaces, if there are any.
    void unindent();
    /// Returns the indent as a zero-terminated text, which is valid until the indent changes.
    char const* indent_c_str() const { return indent_.c_str(); }

    /// Writes the label of a type.
    void output_type(Type type);
    /// Writes a line feed and the indent. With `deeper`, first makes the indent longer.
    void output_newline(bool deeper);

private:
    friend class Tm_folded_events<Tm_text_creator, Tm_creator_base>;

    bool open(Tm_bracket bracket);
    bool close(Tm_bracket bracket);
    template <class Plain>
    bool put(Plain value) {
        return put_scalar(Tm_plain<Plain>::code, Tm_decimal(value));
    }
    bool put(bool value) { return put_scalar(TMV_BOOL, value ? "true" : "false"); }
    bool put_scalar(TMV type, std::string_view text);
    bool begin(Tm_bytes bytes, unsigned int length);
    bool piece(Tm_bytes bytes, char const* data, unsigned int length);

    void write(std::string_view text);
    unsigned int& level_of(Tm_bracket bracket);
    /// Counts one more level. Returns false, and sets the error text, when that is one too many.
    bool enter(Tm_bracket bracket);

    FILE* stream_;
    Tm_limits limits_;
    // Open levels of each kind.
    unsigned int containers_ = 0;  ///< structs, arrays and messages
    unsigned int members_ = 0;
    unsigned int faults_ = 0;
    std::string indent_;
    Tm_piece_count pieces_;
    unsigned long max_text_;
    unsigned long written_ = 0;
    bool is_full_ = false;
};

/// Decodes the wire form and prints it as an indented dump (see Tm_text_creator). It builds no
/// values:
///
///     Tm_bin_decoder_to_text decoder(4096, stdout);
///     decoder.feed(data, size);
///     decoder.finalize();
///     if (!decoder.error().empty()) report(decoder.error());
///
/// It takes wire indexes for lengths of names, and so misreads a message with names by index. Of
/// the limits, only max_depth and max_message_bytes have an effect. max_message_bytes counts for
/// one top-level value.
class TMSG_API Tm_bin_decoder_to_text : public Tm_bin_decoder_base {
public:
    /// The caller owns the stream, which must outlive the decoder. More than `max_text` bytes of
    /// text since init() set the error text.
    Tm_bin_decoder_to_text(long capacity, FILE* stream, Tm_limits const& limits = {},
                           unsigned long max_text = tm_no_text_limit);
    ~Tm_bin_decoder_to_text() override;

    void init() override;
    void finalize() override;

private:
    FILE* stream_;
    unsigned long max_text_;
};
