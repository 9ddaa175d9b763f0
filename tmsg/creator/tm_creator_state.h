/// One level of a value tree under construction, for builders with a stack. An event returns true
/// when the state absorbed it. False means, in this order: next_state() is the state of a nested
/// value that the event began; done(), the value is complete and with its container; or the event
/// is rejected, and error() says why. The default of every event is to reject it.
#pragma once

#include <string>

#include "tmsg/export.h"
#include "tmsg/value/tm_visitor.h"

class TMSG_API Tm_creator_state : public Tm_visitor {
public:
    Tm_creator_state();
    Tm_creator_state(Tm_creator_state const&) = delete;
    Tm_creator_state& operator=(Tm_creator_state const&) = delete;
    ~Tm_creator_state() override;

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
    virtual bool visit_member_begin_with_index(unsigned short index);
    virtual bool visit_member_continue_with_index(unsigned short index);

    /// The state's name in error texts.
    virtual char const* get_name() const = 0;
    /// The state of the nested value that the last event began; null for none. The creator that
    /// takes it over calls clear_next_state().
    virtual Tm_creator_state* next_state() = 0;
    virtual void clear_next_state() = 0;
    virtual bool done() const = 0;
    virtual bool support_member_with_index() const;

    std::string const& error() const { return error_; }

protected:
    /// Sets the error text; always false.
    bool fail(std::string text);
    /// "unexpected EVENT in NAME"
    bool reject(char const* event);

private:
    std::string error_;
};
