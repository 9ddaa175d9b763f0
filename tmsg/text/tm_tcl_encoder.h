/// Writes a message or value as list text, which Tm_tcl_decoder reads back:
///
///     request {name "add" struct {} struct {"a" {int32_t 1 } } }
///
/// Nothing is escaped, byte strings are written in hexadecimal and files as their size alone: a
/// text with a quote or backslash in a name or string, with a byte string or with a file does not
/// read back. At the size limit the next member or byte ends the text with "...SNIPPED..." and
/// stops the walk, so that accept() returns false.
#pragma once

#include <string>
#include <string_view>

#include "tmsg/export.h"
#include "tmsg/text/tm_text_encoder.h"

class TMSG_API Tm_tcl_encoder : public Tm_text_encoder {
public:
    explicit Tm_tcl_encoder(unsigned int limit = DEFAULT_LIMIT);
    ~Tm_tcl_encoder() override;

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

    void clear() override;
    std::string const& get_string() const override;

private:
    bool put(std::string_view text);
    template <class Number>
    bool put_number(Number value);
    bool put_piece(char const* data, unsigned int length, std::string_view closing);
    bool snip();
};
