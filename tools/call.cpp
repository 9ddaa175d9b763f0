#include <ace/INET_Addr.h>
#include <ace/SOCK_Connector.h>

#include <memory>

#include "connection.h"
#include "descriptor.h"
#include "failure.h"
#include "input.h"
#include "interrupt.h"
#include "output.h"
#include "read_message.h"
#include "verbs.h"

namespace {

constexpr unsigned int call_number = 1;

ACE_INET_Addr resolve(std::string const& text) {
    ACE_INET_Addr address;
    if (address.set(text.c_str()) != 0) throw Failure("unknown address " + text);
    return address;
}

void connect(Connection& connection, std::string const& address, Deadline const& deadline) {
    ACE_Time_Value const left = deadline.left();
    if (ACE_SOCK_Connector().connect(connection.stream(), resolve(address), &left) == 0)
        return move_above_standard(connection.stream());
    throw_if_interrupted();
    throw Failure::of_system("failed to connect to " + address);
}

/// The answer to the call; other messages are passed over.
std::unique_ptr<Message> wait_for_answer(Connection& connection, Temporary_files& files,
                                         Tm_limits const& limits, Deadline const& deadline) {
    std::unique_ptr<Message> answer;
    std::string error;
    Tm_chunk_receiver receiver(
        [&](std::unique_ptr<Message> message, int, Tm_header const& header) {
            files.add(*message);
            if (header.get_seq_no() == call_number && answer == nullptr)
                answer = std::move(message);
        },
        [&](int, unsigned int seq_no, std::string const& text) {
            if (seq_no == call_number) error = text;
        },
        limits);
    while (answer == nullptr && error.empty()) {
        if (!connection.receive(receiver, deadline))
            throw Failure("connection closed without an answer");
    }
    if (answer == nullptr) throw Failure(error);
    return answer;
}

void write_answer(Message& answer, Call_options const& options) {
    if (!is_text(options.to)) prepare_names(answer, options.writing.names);
    Writing writing = options.writing;
    writing.seq_no = answer.header.get_seq_no();
    writing.port = answer.header.get_tmport();
    write_message(answer, options.to, writing);
    if (is_text(options.to)) {
        end_text_output();
    } else {
        flush_output();
    }
}

}  // namespace

void call(Call_options const& options) {
    Temporary_files files;
    Input input(options.file);
    auto const message = read_message(input, options.from, files, options.limits);
    prepare_names(*message, options.writing.names);

    Deadline const deadline(options.timeout);
    Connection connection;
    connect(connection, options.address, deadline);
    connection.send(*message, options.writing.chunk_size, call_number, 0, deadline);
    auto const answer = wait_for_answer(connection, files, options.limits, deadline);
    write_answer(*answer, options);
    if (answer->get_msg_type() != Message::TMT_FAULT) return;
    throw Failure("fault " + std::to_string(answer->get_fault_code()) + ": " +
                  answer->get_fault_string());
}
