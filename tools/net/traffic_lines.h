/// Prints the lines of the verb tap, over TCP and over NATS.
#pragma once

#include <tmsg/tmsg.h>

#include <chrono>
#include <cstddef>
#include <ctime>
#include <optional>
#include <string>

#include "forms/form.h"
#include "forms/writer.h"
#include "net/direction.h"

/// Each line has the time of an event, a number and a text.
class Traffic_lines {
public:
    using Clock = std::chrono::steady_clock;

    /// Makes it print lines. Without this call it prints nothing.
    void show() { is_shown_ = true; }
    bool is_shown() const { return is_shown_; }
    /// Makes it print each message in this form, too.
    void print_as(Form form, Writing const& writing);

    /// Begins an event. Decoding and printing take time, so its lines have the time of this call.
    void note_moment();
    Clock::time_point moment() const { return steady_; }

    void write(int number, std::string const& text) const;
    void write(int number, Direction direction, std::string const& text) const;
    /// Writes the message if a form was chosen. Reports a failure, except one of the output.
    void print(Message& message) const;

private:
    bool is_shown_ = false;
    std::optional<Form> form_;
    Writing writing_;
    timespec time_ = {};
    Clock::time_point steady_;
};

/// Returns the name of the method as lines show it.
std::string shown_method(Message const& request);
/// Returns "request METHOD seq N, N bytes".
std::string text_of_request(Message const& request, std::size_t bytes);
/// Returns the same for a response or a fault, with the duration of the call if it is known. The
/// method is empty when it is not known.
std::string text_of_answer(Message const& answer, std::size_t bytes, std::string const& method,
                           std::optional<std::chrono::steady_clock::duration> duration);
