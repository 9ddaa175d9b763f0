/// A creator that prints what another one builds, as a tree for eyes, value by value: so a damaged
/// message shows everything up to the damage.
#pragma once

#include <tmsg/tmsg.h>

#include <string>
#include <vector>

#include "tree_lines.h"

class Tree_printer : public Tm_creator_base {
public:
    /// The offsets come from the decoder that drives the printer.
    Tree_printer(Tm_creator& builder, Tree_lines& lines, Tm_bin_decoder_base const& decoder);

    // clang-format off
    bool visit_method_begin(bool is_request) override;
    bool visit_method_end(bool is_request) override;
    bool visit_fault_begin() override;
    bool visit_fault_end() override { return pass<&Tm_creator::visit_fault_end>(); }
    bool visit_method_name_begin(unsigned int length) override;
    bool visit_method_name_continue(char const* data, unsigned int length) override;
    bool visit_bool(bool value) override { return pass<&Tm_creator::visit_bool>(value) && put(TMV_BOOL, value ? "true" : "false"); }
    bool visit_int8(signed char value) override { return put_number(value); }
    bool visit_uint8(unsigned char value) override { return put_number(value); }
    bool visit_int16(short value) override { return put_number(value); }
    bool visit_uint16(unsigned short value) override { return put_number(value); }
    bool visit_int32(int value) override { return put_number(value); }
    bool visit_uint32(unsigned int value) override { return put_number(value); }
    bool visit_int64(long value) override { return put_number(value); }
    bool visit_uint64(unsigned long value) override { return put_number(value); }
    bool visit_double(double value) override { return put_number(value); }
    bool visit_string_begin(unsigned int length) override { return pass<&Tm_creator::visit_string_begin>(length) && begin_bytes(TMV_STRING, length); }
    bool visit_string_continue(char const* data, unsigned int length) override { return pass<&Tm_creator::visit_string_continue>(data, length) && add_bytes(data, length); }
    bool visit_binary_begin(unsigned int length) override { return pass<&Tm_creator::visit_binary_begin>(length) && begin_bytes(TMV_BINARY, length); }
    bool visit_binary_continue(char const* data, unsigned int length) override { return pass<&Tm_creator::visit_binary_continue>(data, length) && add_bytes(data, length); }
    bool visit_struct_begin() override;
    bool visit_struct_end() override { return pass<&Tm_creator::visit_struct_end>() && leave(); }
    bool visit_member_begin(unsigned int length) override;
    bool visit_member_continue(char const* data, unsigned int length) override;
    bool visit_member_end() override { return pass<&Tm_creator::visit_member_end>(); }
    bool visit_array_begin() override;
    bool visit_array_end() override { return pass<&Tm_creator::visit_array_end>() && leave(); }
    using Tm_visitor::visit_file_begin;
    bool visit_file_begin(unsigned int length) override { return pass<static_cast<bool (Tm_creator::*)(unsigned int)>(&Tm_creator::visit_file_begin)>(length) && begin_bytes(TMV_FILE, length); }
    using Tm_visitor::visit_file_continue;
    bool visit_file_continue(char const* data, unsigned int length) override { return pass<static_cast<bool (Tm_creator::*)(char const*, unsigned int)>(&Tm_creator::visit_file_continue)>(data, length) && add_bytes(data, length); }
    // clang-format on

    bool done() override { return builder_.done(); }
    bool support_member_with_index() override { return builder_.support_member_with_index(); }
    bool visit_member_begin_with_index(unsigned short index) override;
    bool visit_member_continue_with_index(unsigned short index) override;

    /// Prints what is there of a value that was not finished.
    void finish();

private:
    enum class Kind { message, group, structure, array };
    struct Level {
        Kind kind;
        int children = 0;
        bool is_name_table = false;
    };

    template <auto Event, class... Datum>
    bool pass(Datum... datum);
    template <class Number>
    bool put_number(Number value);
    bool put(TMV type, std::string_view text);
    void open_line(std::string_view type);
    std::string next_label();
    bool enter(Kind kind, std::string_view type);
    bool leave();
    bool begin_bytes(TMV type, unsigned int length);
    bool add_bytes(char const* data, unsigned int length);
    void end_bytes();

    Tm_creator& builder_;
    Tree_lines& lines_;
    Tm_bin_decoder_base const& decoder_;
    std::vector<Level> levels_;
    std::vector<std::vector<std::string>> name_tables_;  ///< one for each open message
    std::string name_;                                   ///< of the current member
    long member_offset_ = 0;
    TMV bytes_type_ = TMV_STRING;
    unsigned int bytes_left_ = 0;
    std::string bytes_;
    bool in_bytes_ = false;
};
