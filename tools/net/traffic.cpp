/// Prints lines and messages as they pass.
#include "net/traffic.h"

#include <optional>
#include <utility>

#include "forms/reader.h"
#include "io/terminal.h"

namespace {

/// The most requests without a response that one direction of a connection remembers. The durations
/// of further calls are not shown.
constexpr std::size_t most_calls = 10000;

}  // namespace

Traffic::Stream& Traffic::Talk::operator[](Direction direction) {
    return direction == Direction::to_upstream ? to_upstream : to_client;
}

int Traffic::begin(std::string const& client) {
    lines_.note_moment();
    last_ = captures_.number_after(last_);
    Talk& talk = talks_[last_];
    for (Direction const direction : {Direction::to_upstream, Direction::to_client}) {
        talk[direction].watch = watch(last_, direction);
        talk[direction].file = captures_.open(last_, direction);
    }
    lines_.write(last_, "connected from " + client);
    return last_;
}

std::unique_ptr<Stream_watch> Traffic::watch(int connection, Direction direction) {
    auto const damage = [this, connection, direction](std::size_t offset, std::string const& text) {
        std::string const place = "damaged in the chunk at byte " + std::to_string(offset) + ": ";
        lines_.write(connection, direction, painted(Colour::red, place + text));
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
    lines_.note_moment();
    Stream& stream = talks_.at(connection)[direction];
    stream.bytes += size;
    stream.file.add(data, size);
    if (lines_.is_shown()) stream.watch->add(data, size);
}

void Traffic::end(int connection, Direction direction) {
    lines_.note_moment();
    talks_.at(connection)[direction].watch->finish();
    lines_.write(connection, direction, "end");
}

void Traffic::lose(int connection, std::string const& error) {
    report("#" + std::to_string(connection) + ": " + error);
}

void Traffic::close(int connection) {
    lines_.note_moment();
    Talk& talk = talks_.at(connection);
    // The receivers forget what they have reported, so an end is not reported twice.
    talk.to_upstream.watch->finish();
    talk.to_client.watch->finish();
    lines_.write(connection, "closed after " + std::to_string(talk.to_upstream.bytes) +
                                 " bytes > and " + std::to_string(talk.to_client.bytes) +
                                 " bytes <");
    talks_.erase(connection);
}

void Traffic::take(Message& message, std::size_t bytes, int connection, Direction direction) {
    Talk& talk = talks_.at(connection);
    bool const is_request = message.get_msg_type() == Message::TMT_REQUEST;
    lines_.write(connection, direction,
                 is_request ? take_request(message, bytes, talk[direction])
                            : take_answer(message, bytes, talk[opposite(direction)]));
    lines_.print(message);
}

/// Notes the time of the call.
std::string Traffic::take_request(Message const& message, std::size_t bytes, Stream& stream) const {
    bool const is_noted = stream.calls.size() < most_calls;
    if (is_noted) {
        stream.calls[message.header.get_seq_no()] = {shown_method(message), lines_.moment()};
    }
    return text_of_request(message, bytes);
}

/// Returns the line of a response or fault. `calling` is the stream that the request went in.
std::string Traffic::take_answer(Message const& message, std::size_t bytes, Stream& calling) const {
    auto const call = calling.calls.find(message.header.get_seq_no());
    if (call == calling.calls.end()) return text_of_answer(message, bytes, "", {});
    auto const [method, time] = call->second;
    calling.calls.erase(call);
    return text_of_answer(message, bytes, method, lines_.moment() - time);
}
