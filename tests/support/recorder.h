/// A visitor that writes down every event it takes, and refuses those that it is told to.
#pragma once

#include <tmsg/tmsg.h>

#include <functional>
#include <string>
#include <vector>

using Events = std::vector<std::string>;

// clang-format off
template <class Base>
class Recorder_of : public Base {
public:
    Events events;
    std::vector<int> mementos;
    /// Told the number of the attempt, from 0; true refuses the event.
    std::function<bool(int)> refuses = [](int) { return false; };
    bool wants_index = false;
    int attempts = 0;

    bool visit_method_begin(bool v) override { return take("method_begin", v); }
    bool visit_method_end(bool v) override { return take("method_end", v); }
    bool visit_fault_begin() override { return take("fault_begin"); }
    bool visit_fault_end() override { return take("fault_end"); }
    bool visit_method_name_begin(unsigned int n) override { return take("method_name_begin", n); }
    bool visit_method_name_continue(char const* p, unsigned int n) override { return piece("method_name", p, n); }
    bool visit_bool(bool v) override { return take("bool", v); }
    bool visit_int8(signed char v) override { return take("int8", v); }
    bool visit_uint8(unsigned char v) override { return take("uint8", v); }
    bool visit_int16(short v) override { return take("int16", v); }
    bool visit_uint16(unsigned short v) override { return take("uint16", v); }
    bool visit_int32(int v) override { return take("int32", v); }
    bool visit_uint32(unsigned int v) override { return take("uint32", v); }
    bool visit_int64(long v) override { return take("int64", v); }
    bool visit_uint64(unsigned long v) override { return take("uint64", v); }
    bool visit_double(double v) override { return take("double", v); }
    bool visit_string_begin(unsigned int n) override { return take("string_begin", n); }
    bool visit_string_continue(char const* p, unsigned int n) override { return piece("string", p, n); }
    bool visit_binary_begin(unsigned int n) override { return take("binary_begin", n); }
    bool visit_binary_continue(char const* p, unsigned int n) override { return piece("binary", p, n); }
    bool visit_struct_begin() override { return take("struct_begin"); }
    bool visit_struct_end() override { return take("struct_end"); }
    bool visit_member_begin(unsigned int n) override { return take("member_begin", n); }
    bool visit_member_continue(char const* p, unsigned int n) override { return piece("member", p, n); }
    bool visit_member_end() override { return take("member_end"); }
    bool visit_array_begin() override { return take("array_begin"); }
    bool visit_array_end() override { return take("array_end"); }
    bool visit_file_begin(unsigned int n) override { return take("file_begin", n); }
    bool visit_file_begin(int, unsigned int n) override { return take("file_begin_fd", n); }
    bool visit_file_continue(char const* p, unsigned int n) override { return piece("file", p, n); }
    bool visit_file_continue(int, std::string const& path, unsigned int n) override { return take("file_read " + path, n); }

    bool has_memento() override { return !mementos.empty(); }
    int pop_memento() override { int const step = mementos.back(); mementos.pop_back(); return step; }
    void push_memento(int step) override { mementos.push_back(step); }
    bool is_support_member_index() override { return wants_index; }

private:
    bool take_text(std::string const& name, std::string const& value) {
        if (refuses(attempts++)) return false;
        events.push_back(name + "(" + value + ")");
        return true;
    }
    bool take(std::string const& name) { return take_text(name, ""); }
    template <class Number>
    bool take(std::string const& name, Number value) { return take_text(name, std::to_string(value)); }
    bool piece(std::string const& name, char const* data, unsigned int size) {
        return take_text(name, data == nullptr ? "null" : std::string(data, size));
    }
};
// clang-format on

using Recorder = Recorder_of<Tm_visitor>;

inline Events events_of(Tm_value const& value, bool by_index = false) {
    Recorder recorder;
    recorder.wants_index = by_index;
    value.accept(recorder);
    return recorder.events;
}
