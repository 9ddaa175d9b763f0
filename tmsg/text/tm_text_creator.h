/// A creator that builds nothing: it prints the events as an indented dump for eyes. The stream
/// stays the caller's; errors of writing to it are ignored. The contents of byte strings and files
/// are not shown, only the sizes of their pieces.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "tmsg/creator/tm_creator_base.h"
#include "tmsg/value/tm_limits.h"

class TMSG_API Tm_text_creator : public Tm_creator_base {
public:
    /// What a line says about its value.
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

    /// At most `max_text` bytes go to the stream. The event that needs more is an error.
    explicit Tm_text_creator(FILE* stream, Tm_limits const& limits = {},
                             unsigned long max_text = tm_no_text_limit);
    Tm_text_creator(Tm_text_creator const&) = delete;
    Tm_text_creator& operator=(Tm_text_creator const&) = delete;
    /// Flushes the stream.
    ~Tm_text_creator() override;

    /// "???" for another number.
    static char const* type_to_c_str(Type type);

    /// Every event returns true, with two exceptions. An event that would nest deeper than the
    /// limits allow returns false. So do the event that would make the text too long, and all
    /// events after it.
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
    bool visit_file_begin(unsigned int length) override;
    using Tm_visitor::visit_file_continue;
    bool visit_file_continue(char const* data, unsigned int length) override;

    /// Flushes the stream and goes back to no indent; the dump is always complete.
    bool done() override;
    /// Names are always read as text.
    bool support_member_with_index() override;

    /// One step, two spaces.
    void indent();
    void unindent();
    char const* indent_c_str() const { return indent_.c_str(); }

    void output_type(Type type);
    /// A line feed and the indent, one step deeper if asked.
    void output_newline(bool deeper);

private:
    void write(std::string_view text);
    bool begin_item(unsigned int length);
    bool end_piece(unsigned int length);
    bool open(Type type);
    bool close();
    bool enter(unsigned int& level);
    bool leave(unsigned int& level);
    bool put(Type type, std::string_view text);
    bool begin_text(Type type, unsigned int length);
    bool begin_bytes(Type type, unsigned int length);
    bool put_bytes(unsigned int length);

    FILE* stream_;
    Tm_limits limits_;
    unsigned int groups_ = 0;  ///< open structs, arrays and messages
    unsigned int members_ = 0;
    unsigned int faults_ = 0;
    std::string indent_;
    unsigned int received_ = 0;
    unsigned int expected_ = 0;
    unsigned long max_text_;
    unsigned long written_ = 0;
    bool is_full_ = false;
};
