/// A visitor that writes down every event it takes, and refuses those that it is told to.
#pragma once

#include <functional>

#include "support/basics.h"

using Events = Names;

// clang-format off
template <class Base>
class Recorder_of : public Base {
public:
    Events events;
    std::vector<int> mementos;
    /// Told the number of the attempt, from 0; true refuses the event.
    std::function<bool(int)> refuses = [](int) { return false; };
    bool wants_index = false;
    /// Whether files come by descriptor; else by length, as the visitor's defaults have it.
    bool reads_files = false;
    int attempts = 0;

#define NO_DATUM(event) bool visit_##event() override { return take(#event); }
    NO_DATUM(fault_begin) NO_DATUM(fault_end) NO_DATUM(struct_begin) NO_DATUM(struct_end)
    NO_DATUM(array_begin) NO_DATUM(array_end) NO_DATUM(member_end)
#define NUMBER(event, type) bool visit_##event(type v) override { return take(#event, v); }
    NUMBER(method_begin, bool) NUMBER(method_end, bool) NUMBER(bool, bool) NUMBER(double, double)
    NUMBER(int8, signed char) NUMBER(int16, short) NUMBER(int32, int) NUMBER(int64, long)
    NUMBER(uint8, unsigned char) NUMBER(uint16, unsigned short) NUMBER(uint32, unsigned int) NUMBER(uint64, unsigned long)
#define PIECES(kind) NUMBER(kind##_begin, unsigned int) \
    bool visit_##kind##_continue(char const* p, unsigned int n) override { return piece(#kind, p, n); }
    PIECES(method_name) PIECES(string) PIECES(binary) PIECES(member) PIECES(file)

    bool visit_file_begin(int fd, unsigned int n) override { return reads_files ? take("file_begin_fd", n) : Base::visit_file_begin(fd, n); }
    bool visit_file_continue(int fd, std::string const& path, unsigned int n) override { return reads_files ? take("file_read " + path, n) : Base::visit_file_continue(fd, path, n); }

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
#undef NO_DATUM
#undef NUMBER
#undef PIECES
// clang-format on

using Recorder = Recorder_of<Tm_visitor>;

inline Events events_of(Tm_value const& value, bool by_index = false) {
    Recorder recorder;
    recorder.wants_index = by_index;
    value.accept(recorder);
    return recorder.events;
}
