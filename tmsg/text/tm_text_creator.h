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

/// A creator that builds nothing. It prints the events as an indented dump for people. The caller
/// owns the stream, and errors of writing to it are ignored. The dump shows only the sizes of the
/// pieces of byte strings and files, not their contents.
///
/// Every event returns true, with two exceptions. An event that would nest deeper than the limits
/// allow returns false. So do the event that would make the text too long, and all events after it.
class TMSG_API Tm_text_creator : public Tm_folded_events<Tm_text_creator, Tm_creator_base> {
public:
    /// The kinds of lines in the dump.
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

    /// At most `max_text` bytes go to the stream. An event that needs more sets an error text.
    explicit Tm_text_creator(FILE* stream, Tm_limits const& limits = {},
                             unsigned long max_text = tm_no_text_limit);
    Tm_text_creator(Tm_text_creator const&) = delete;
    Tm_text_creator& operator=(Tm_text_creator const&) = delete;
    /// Flushes the stream.
    ~Tm_text_creator() override;

    /// Returns the word for a type in the dump, and "???" for any other number.
    static char const* type_to_c_str(Type type);

    /// Flushes the stream and removes the indent. Always returns true.
    bool done() override;
    /// Always returns false: names are read as text.
    bool support_member_with_index() override;

    /// Both change the indent by one step of two spaces.
    void indent();
    void unindent();
    char const* indent_c_str() const { return indent_.c_str(); }

    void output_type(Type type);
    /// Writes a line feed and the indent, which `deeper` first makes one step longer.
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
    bool enter(Tm_bracket bracket);

    FILE* stream_;
    Tm_limits limits_;
    unsigned int groups_ = 0;  ///< open structs, arrays and messages
    unsigned int members_ = 0;
    unsigned int faults_ = 0;
    std::string indent_;
    Tm_piece_count pieces_;
    unsigned long max_text_;
    unsigned long written_ = 0;
    bool is_full_ = false;
};

/// Decodes the binary form and prints it as an indented dump (see Tm_text_creator). It builds no
/// values. It takes wire indexes for lengths of names, and so misreads a message with names by
/// index. The limit on the bytes of a message starts anew with each top-level value.
class TMSG_API Tm_bin_decoder_to_text : public Tm_bin_decoder_base {
public:
    /// The caller owns the stream, which must outlive the decoder. More than `max_text` bytes of
    /// text since init() are an error.
    Tm_bin_decoder_to_text(long capacity, FILE* stream, Tm_limits const& limits = {},
                           unsigned long max_text = tm_no_text_limit);
    ~Tm_bin_decoder_to_text() override;

    void init() override;
    void finalize() override;

private:
    FILE* stream_;
    unsigned long max_text_;
};
