/// The events in which a value tree is walked: begin, pieces and end of every value. Encoders and
/// creators implement it. Every visit operation returns true when it took the event; false stops
/// the walk, and the same event comes again when the walk is resumed.
///
/// A visitor that can refuse keeps the walk's resume points as a stack of step numbers
/// (push_memento, pop_memento, has_memento); one that never refuses needs none of the three.
#pragma once

#include <string>
#include <typeinfo>

#include "tmsg/export.h"

class Tm_wire_room;

class TMSG_API Tm_visitor {
public:
    Tm_visitor() = default;
    Tm_visitor(Tm_visitor const&) = default;
    Tm_visitor& operator=(Tm_visitor const&) = default;
    virtual ~Tm_visitor();

    /// Start and end of a message; `is_request` is false for responses and faults.
    virtual bool visit_method_begin(bool is_request) = 0;
    virtual bool visit_method_end(bool is_request) = 0;
    virtual bool visit_fault_begin() = 0;
    virtual bool visit_fault_end() = 0;

    /// Byte sequences: the total length, then pieces of at most 128 bytes that add up to it.
    virtual bool visit_method_name_begin(unsigned int length) = 0;
    virtual bool visit_method_name_continue(char const* data, unsigned int length) = 0;

    virtual bool visit_bool(bool value) = 0;
    virtual bool visit_int8(signed char value) = 0;
    virtual bool visit_uint8(unsigned char value) = 0;
    virtual bool visit_int16(short value) = 0;
    virtual bool visit_uint16(unsigned short value) = 0;
    virtual bool visit_int32(int value) = 0;
    virtual bool visit_uint32(unsigned int value) = 0;
    virtual bool visit_int64(long value) = 0;
    virtual bool visit_uint64(unsigned long value) = 0;
    virtual bool visit_double(double value) = 0;

    virtual bool visit_string_begin(unsigned int length) = 0;
    virtual bool visit_string_continue(char const* data, unsigned int length) = 0;
    virtual bool visit_binary_begin(unsigned int length) = 0;
    virtual bool visit_binary_continue(char const* data, unsigned int length) = 0;

    virtual bool visit_struct_begin() = 0;
    virtual bool visit_struct_end() = 0;
    /// The length of the member's name, whose pieces follow; or, for a visitor that supports
    /// member indexes and a struct that carries them, the index, and no pieces.
    virtual bool visit_member_begin(unsigned int length_or_index) = 0;
    virtual bool visit_member_continue(char const* data, unsigned int length) = 0;
    virtual bool visit_member_end() = 0;
    virtual bool visit_array_begin() = 0;
    virtual bool visit_array_end() = 0;

    virtual bool visit_file_begin(unsigned int length) = 0;
    /// A file that the visitor reads itself from `fd`; the default forgets the descriptor.
    virtual bool visit_file_begin(int fd, unsigned int length);
    virtual bool visit_file_continue(char const* data, unsigned int length) = 0;
    /// The next `length` bytes of such a file; the default passes a null data pointer on.
    virtual bool visit_file_continue(int fd, std::string const& path, unsigned int length);

    virtual bool has_memento();
    virtual int pop_memento();
    virtual void push_memento(int step);

    /// The visitor wants member indexes instead of names wherever a struct carries them.
    virtual bool is_support_member_index();

    /// Where the library's own values may write instead of passing events; null for nowhere.
    Tm_wire_room* wire_room() const;

protected:
    /// Objects of exactly that class take what is written to the room as if events had come.
    void offer_wire_room(Tm_wire_room* room, std::type_info const& for_class) {
        wire_room_ = room;
        wire_class_ = &for_class;
    }

private:
    Tm_wire_room* wire_room_ = nullptr;
    std::type_info const* wire_class_ = nullptr;
};
