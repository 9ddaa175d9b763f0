/// Writes a message or value as one line of JSON, for logs and for eyes; nothing reads it back.
///
///     {"name": "add", "request": [{}, {"a": 1}]}
///
/// At the size limit the encoder leaves out what follows, closes what is open and marks the
/// message: `"__SNIPPED__" : true`. Only members and byte strings are cut there: all else can make
/// the text longer than the limit by any amount, and a byte string cut before its last piece stays
/// without its closing quote and brace. Every byte outside of printable ASCII is escaped by itself,
/// as \u00XX; names of members are written as they are.
#pragma once

#include <string>

#include "tmsg/export.h"
#include "tmsg/text/tm_json_comma_check.h"
#include "tmsg/text/tm_oversize_stack.h"
#include "tmsg/text/tm_text_encoder.h"

class TMSG_API Tm_json_encoder : public Tm_text_encoder {
public:
    explicit Tm_json_encoder(unsigned int limit = DEFAULT_LIMIT);
    ~Tm_json_encoder() override;

    /// Every event returns true.
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

    /// Expects that the message before was complete.
    void clear() override;
    std::string const& get_string() const override;

private:
    bool begin_value();
    bool begin_container();
    bool ends_unwritten_container();
    template <class Number>
    bool put_number(Number value);
    void escape_and_append(char const* data, unsigned int length);

    Tm_json_comma_check value_commas_;
    Tm_json_comma_check member_commas_;
    Tm_oversize_stack oversize_;
    bool snipped_ = false;
};
