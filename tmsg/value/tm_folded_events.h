/// The base class of visitors that treat many events alike. It overrides every event of Tm_visitor
/// and passes it to one of five operations, which the derived class defines:
///
///     class My_encoder : public Tm_folded_events<My_encoder> {
///         friend class Tm_folded_events<My_encoder>;
///         bool open(Tm_bracket bracket);
///         bool close(Tm_bracket bracket);
///         template <class Plain>
///         bool put(Plain value);
///         bool begin(Tm_bytes bytes, unsigned int length);
///         bool piece(Tm_bytes bytes, char const* data, unsigned int length);
///     };
///
/// Each operation returns true to take the event, false to refuse it.
/// begin(Tm_bytes::member_name, ...) opens a member, and close(Tm_bracket::member) closes it.
/// The derived class may also override single events.
#pragma once

#include <string>

#include "tmsg/value/tm_visitor.h"

/// The parts of a tree that events open and close. `member` is passed to close() only.
enum class Tm_bracket : unsigned char { request, response, fault, structure, array, member };

/// The kinds of byte sequences. Each is passed as begin(), then as pieces.
enum class Tm_bytes : unsigned char { method_name, member_name, string, binary, file };

/// Counts the bytes of a sequence as its pieces come.
class Tm_piece_count {
public:
    /// Begins a sequence of `length` bytes.
    void begin(unsigned int length) {
        expected_ = length;
        received_ = 0;
    }
    /// Counts a piece of `length` bytes. Returns true when it completes the sequence.
    bool take(unsigned int length) { return (received_ += length) == expected_; }
    /// Returns whether at least `length` bytes of the sequence are missing.
    bool fits(unsigned int length) const { return length <= expected_ - received_; }

private:
    unsigned int expected_ = 0;
    unsigned int received_ = 0;
};

/// `Owner` is the derived class. `Base` is Tm_visitor or a class derived from it.
template <class Owner, class Base = Tm_visitor>
class Tm_folded_events : public Base {
public:
    using Base::Base;

    // clang-format off
    bool visit_method_begin(bool is_request) override { return owner().open(method(is_request)); }
    bool visit_method_end(bool is_request) override { return owner().close(method(is_request)); }
    bool visit_fault_begin() override { return owner().open(Tm_bracket::fault); }
    bool visit_fault_end() override { return owner().close(Tm_bracket::fault); }
    bool visit_method_name_begin(unsigned int length) override { return owner().begin(Tm_bytes::method_name, length); }
    bool visit_method_name_continue(char const* data, unsigned int length) override { return owner().piece(Tm_bytes::method_name, data, length); }
    bool visit_bool(bool value) override { return owner().put(value); }
    bool visit_int8(signed char value) override { return owner().put(value); }
    bool visit_uint8(unsigned char value) override { return owner().put(value); }
    bool visit_int16(short value) override { return owner().put(value); }
    bool visit_uint16(unsigned short value) override { return owner().put(value); }
    bool visit_int32(int value) override { return owner().put(value); }
    bool visit_uint32(unsigned int value) override { return owner().put(value); }
    bool visit_int64(long value) override { return owner().put(value); }
    bool visit_uint64(unsigned long value) override { return owner().put(value); }
    bool visit_double(double value) override { return owner().put(value); }
    bool visit_string_begin(unsigned int length) override { return owner().begin(Tm_bytes::string, length); }
    bool visit_string_continue(char const* data, unsigned int length) override { return owner().piece(Tm_bytes::string, data, length); }
    bool visit_binary_begin(unsigned int length) override { return owner().begin(Tm_bytes::binary, length); }
    bool visit_binary_continue(char const* data, unsigned int length) override { return owner().piece(Tm_bytes::binary, data, length); }
    bool visit_struct_begin() override { return owner().open(Tm_bracket::structure); }
    bool visit_struct_end() override { return owner().close(Tm_bracket::structure); }
    bool visit_member_begin(unsigned int length) override { return owner().begin(Tm_bytes::member_name, length); }
    bool visit_member_continue(char const* data, unsigned int length) override { return owner().piece(Tm_bytes::member_name, data, length); }
    bool visit_member_end() override { return owner().close(Tm_bracket::member); }
    bool visit_array_begin() override { return owner().open(Tm_bracket::array); }
    bool visit_array_end() override { return owner().close(Tm_bracket::array); }
    using Base::visit_file_begin;
    bool visit_file_begin(unsigned int length) override { return owner().begin(Tm_bytes::file, length); }
    using Base::visit_file_continue;
    bool visit_file_continue(char const* data, unsigned int length) override { return owner().piece(Tm_bytes::file, data, length); }
    // clang-format on

private:
    Owner& owner() { return static_cast<Owner&>(*this); }
    static Tm_bracket method(bool is_request) {
        return is_request ? Tm_bracket::request : Tm_bracket::response;
    }
};
