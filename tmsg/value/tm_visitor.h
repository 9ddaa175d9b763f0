/// The events of a walk over a tree of values: begin, pieces and end of every value. Encoders and
/// creators are visitors. Every visit operation returns true to take the event, or false to refuse
/// it. After a refusal the walk stops. When it is resumed, it sends the same event again.
///
/// A visitor that can refuse an event must keep a stack of step numbers, from which the walk is
/// resumed: it overrides push_memento(), pop_memento() and has_memento(). Other visitors need not
/// override these.
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

    /// These begin and end a message. `is_request` is false for responses and faults. A fault sends
    /// method begin, fault begin, its two structs, fault end, method end.
    virtual bool visit_method_begin(bool is_request) = 0;
    virtual bool visit_method_end(bool is_request) = 0;
    virtual bool visit_fault_begin() = 0;
    virtual bool visit_fault_end() = 0;

    /// A byte sequence is one begin event with its length in bytes, then pieces of at most 128
    /// bytes that add up to the length. An empty sequence has no pieces. `data` is valid during the
    /// call.
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
    /// Begins a member with the length of its name. Pieces of the name follow. When
    /// is_support_member_index() returns true and the struct has wire indexes, the argument is the
    /// wire index instead, and no pieces follow.
    virtual bool visit_member_begin(unsigned int length_or_index) = 0;
    virtual bool visit_member_continue(char const* data, unsigned int length) = 0;
    virtual bool visit_member_end() = 0;
    virtual bool visit_array_begin() = 0;
    virtual bool visit_array_end() = 0;

    virtual bool visit_file_begin(unsigned int length) = 0;
    /// Begins a file that the visitor reads itself from `fd`. By default calls
    /// visit_file_begin(length).
    virtual bool visit_file_begin(int fd, unsigned int length);
    virtual bool visit_file_continue(char const* data, unsigned int length) = 0;
    /// Asks the visitor to read the next `length` bytes of such a file. By default calls
    /// visit_file_continue(nullptr, length).
    virtual bool visit_file_continue(int fd, std::string const& path, unsigned int length);

    /// The stack of step numbers, see above. By default there is none.
    virtual bool has_memento();
    virtual int pop_memento();
    virtual void push_memento(int step);

    /// Returns whether the visitor takes wire indexes in place of names, for a struct that has
    /// them. By default returns false.
    virtual bool is_support_member_index();

protected:
    /// Makes wire_room() return `room`, but only for an object of exactly the class `for_class`: a
    /// class derived from it may override events, which bytes in the room would bypass.
    void offer_wire_room(Tm_wire_room* room, std::type_info const& for_class) {
        wire_room_ = room;
        wire_class_ = &for_class;
    }

private:
    friend class Tm_array;
    friend class Tm_bin_encoder;
    friend class Tm_file;
    friend class Tm_struct;
    friend class Tm_walk;

    /// Returns the room into which the library's own values may write instead of sending events.
    /// Returns null when the visitor has no such room.
    Tm_wire_room* wire_room() const;

    Tm_wire_room* wire_room_ = nullptr;
    std::type_info const* wire_class_ = nullptr;
};
