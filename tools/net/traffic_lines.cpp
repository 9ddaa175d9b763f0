/// Prints lines and messages as they pass.
#include "net/traffic_lines.h"

#include <cstdio>
#include <exception>

#include "io/output.h"
#include "io/terminal.h"

namespace {

/// Longer names and texts are cut in a line.
constexpr std::size_t longest_name = 100;
constexpr std::size_t longest_text = 200;

/// Returns the local time of the day, with microseconds.
std::string time_of_day(timespec const& time) {
    tm local = {};
    ::localtime_r(&time.tv_sec, &local);
    char text[64];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d.%06ld", local.tm_hour, local.tm_min,
                  local.tm_sec, time.tv_nsec / 1000);
    return text;
}

std::string milliseconds(std::chrono::steady_clock::duration time) {
    char text[64];
    std::snprintf(text, sizeof text, "%.3f ms",
                  std::chrono::duration<double, std::milli>(time).count());
    return text;
}

std::string size_text(Message const& message, std::size_t bytes) {
    return "seq " + std::to_string(message.header.get_seq_no()) + ", " + std::to_string(bytes) +
           " bytes";
}

}  // namespace

void Traffic_lines::print_as(Form form, Writing const& writing) {
    form_ = form;
    writing_ = writing;
}

void Traffic_lines::note_moment() {
    ::clock_gettime(CLOCK_REALTIME, &time_);
    steady_ = Clock::now();
}

void Traffic_lines::write(int number, std::string const& text) const {
    if (!is_shown_) return;
    write_output(time_of_day(time_) + " #" + std::to_string(number) + " " + text + "\n");
    flush_output();
}

void Traffic_lines::write(int number, Direction direction, std::string const& text) const {
    write(number, (direction == Direction::to_upstream ? "> " : "< ") + text);
}

/// Writes a line feed also after a text that fails halfway.
void Traffic_lines::print(Message& message) const {
    if (!form_) return;
    std::size_t const before = output_size();
    try {
        write_message(message, *form_, writing_);
    } catch (std::exception const& error) {
        report(text_of(error));
    }
    if (output_size() != before) write_output("\n");
    flush_output();
}

std::string shown_method(Message const& request) {
    return shortened(request.get_request_name(), longest_name);
}

std::string text_of_request(Message const& request, std::size_t bytes) {
    return "request " + shown_method(request) + " " + size_text(request, bytes);
}

std::string text_of_answer(Message const& answer, std::size_t bytes, std::string const& method,
                           std::optional<std::chrono::steady_clock::duration> duration) {
    bool const is_fault = answer.get_msg_type() == Message::TMT_FAULT;
    std::string text = is_fault ? painted(Colour::red, "fault ") : "response ";
    if (!method.empty()) text += method + " ";
    text += size_text(answer, bytes);
    if (duration) text += ", " + milliseconds(*duration);
    if (!is_fault) return text;
    return text + ": " + std::to_string(answer.get_fault_code()) + " " +
           shortened(answer.get_fault_string(), longest_text);
}
