/// Prints lines and messages as they pass.
#include "net/traffic.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include "forms/reader.h"
#include "io/output.h"
#include "io/system.h"
#include "io/terminal.h"

namespace {

/// The most requests without a response that one direction of a connection remembers. The durations
/// of further calls are not shown.
constexpr std::size_t most_calls = 10000;
/// Longer names and texts are cut in a line.
constexpr std::size_t longest_name = 100;
constexpr std::size_t longest_text = 200;

Direction opposite(Direction direction) {
    bool const is_up = direction == Direction::to_upstream;
    return is_up ? Direction::to_client : Direction::to_upstream;
}

std::string sign_of(Direction direction) {
    return direction == Direction::to_upstream ? "> " : "< ";
}

std::string path_of(std::string const& folder, int connection, Direction direction) {
    char const* const side = direction == Direction::to_upstream ? "upstream" : "client";
    return folder + "/" + std::to_string(connection) + "-to-" + side + ".chunks";
}

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

Traffic::Stream& Traffic::Talk::operator[](Direction direction) {
    return direction == Direction::to_upstream ? to_upstream : to_client;
}

void Traffic::print_as(Form form, Writing const& writing) {
    form_ = form;
    writing_ = writing;
}

void Traffic::save_in(std::string const& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (!std::filesystem::is_directory(folder)) {
        throw Failure("failed to make the folder " + folder + ": " + error.message());
    }
    folder_ = folder;
}

/// Decoding and printing take time, so an event has the time at which it began.
void Traffic::note_moment() {
    ::clock_gettime(CLOCK_REALTIME, &moment_.time);
    moment_.steady = Clock::now();
}

/// Skips the numbers of captures that stand in the folder.
int Traffic::begin(std::string const& client) {
    note_moment();
    do {
        ++last_;
    } while (!folder_.empty() &&
             (std::filesystem::exists(path_of(folder_, last_, Direction::to_upstream)) ||
              std::filesystem::exists(path_of(folder_, last_, Direction::to_client))));
    Talk& talk = talks_[last_];
    for (Direction const direction : {Direction::to_upstream, Direction::to_client}) {
        talk[direction].watch = watch(last_, direction);
    }
    open_files(last_, talk);
    write_line(last_, "connected from " + client);
    return last_;
}

/// A connection whose file cannot be made goes on without it.
void Traffic::open_files(int connection, Talk& talk) const {
    if (folder_.empty()) return;
    for (Direction const direction : {Direction::to_upstream, Direction::to_client}) {
        try {
            talk[direction].file = Capture_file(path_of(folder_, connection, direction));
        } catch (Failure const& failure) {
            report(failure.what());
        }
    }
}

std::unique_ptr<Stream_watch> Traffic::watch(int connection, Direction direction) {
    auto const damage = [this, connection, direction](std::size_t offset, std::string const& text) {
        std::string const place = "damaged in the chunk at byte " + std::to_string(offset) + ": ";
        write_line(connection, sign_of(direction) + painted(Colour::red, place + text));
    };
    return std::make_unique<Stream_watch>(
        [this, connection, direction](std::unique_ptr<Message> message, std::size_t bytes) {
            Temporary_files files;
            files.add(*message);
            take(*message, bytes, connection, direction);
        },
        [damage](std::size_t offset, unsigned int seq_no, std::string const& text) {
            damage(offset, printable(text) + " (seq " + std::to_string(seq_no) + ")");
        },
        [damage](std::size_t offset, std::string const& text) {
            damage(offset, printable(text) + "; passed on undecoded from here");
        },
        limits_);
}

void Traffic::pass(int connection, Direction direction, unsigned char const* data,
                   std::size_t size) {
    note_moment();
    Stream& stream = talks_.at(connection)[direction];
    stream.bytes += size;
    stream.file.add(data, size);
    if (is_shown_) stream.watch->add(data, size);
}

void Traffic::end(int connection, Direction direction) {
    note_moment();
    talks_.at(connection)[direction].watch->finish();
    write_line(connection, sign_of(direction) + "end");
}

void Traffic::lose(int connection, std::string const& error) {
    report("#" + std::to_string(connection) + ": " + error);
}

void Traffic::close(int connection) {
    note_moment();
    Talk& talk = talks_.at(connection);
    // The receivers forget what they have reported, so an end is not reported twice.
    talk.to_upstream.watch->finish();
    talk.to_client.watch->finish();
    write_line(connection, "closed after " + std::to_string(talk.to_upstream.bytes) +
                               " bytes > and " + std::to_string(talk.to_client.bytes) + " bytes <");
    talks_.erase(connection);
}

void Traffic::take(Message& message, std::size_t bytes, int connection, Direction direction) {
    Talk& talk = talks_.at(connection);
    bool const is_request = message.get_msg_type() == Message::TMT_REQUEST;
    write_line(connection,
               sign_of(direction) +
                   (is_request ? text_of_request(message, bytes, talk[direction])
                               : text_of_answer(message, bytes, talk[opposite(direction)])));
    if (form_) print(message);
}

/// Notes the time of the call.
std::string Traffic::text_of_request(Message const& message, std::size_t bytes, Stream& stream) {
    std::string const method = shortened(message.get_request_name(), longest_name);
    bool const is_noted = stream.calls.size() < most_calls;
    if (is_noted) stream.calls[message.header.get_seq_no()] = {method, moment_.steady};
    return "request " + method + " " + size_text(message, bytes);
}

/// Returns the line of a response or fault. `calling` is the stream that the request went in.
std::string Traffic::text_of_answer(Message const& message, std::size_t bytes,
                                    Stream& calling) const {
    bool const is_fault = message.get_msg_type() == Message::TMT_FAULT;
    std::string text = is_fault ? painted(Colour::red, "fault ") : "response ";
    std::string duration;
    auto const call = calling.calls.find(message.header.get_seq_no());
    if (call != calling.calls.end()) {
        text += call->second.method + " ";
        duration = ", " + milliseconds(moment_.steady - call->second.time);
        calling.calls.erase(call);
    }
    text += size_text(message, bytes) + duration;
    if (!is_fault) return text;
    return text + ": " + std::to_string(message.get_fault_code()) + " " +
           shortened(message.get_fault_string(), longest_text);
}

/// Writes a line feed also after a text that fails halfway.
void Traffic::print(Message& message) {
    std::size_t const before = output_size();
    try {
        write_message(message, *form_, writing_);
    } catch (std::exception const& error) {
        report(text_of(error));
    }
    if (output_size() != before) write_output("\n");
    flush_output();
}

void Traffic::write_line(int connection, std::string const& text) const {
    if (!is_shown_) return;
    write_output(time_of_day(moment_.time) + " #" + std::to_string(connection) + " " + text + "\n");
    flush_output();
}
