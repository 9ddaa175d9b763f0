/// Sends one request with every kind of value and a file, and checks the reply.
#include <ace/INET_Addr.h>
#include <ace/SOCK_Connector.h>
#include <ace/SOCK_Stream.h>

#include <chrono>
#include <csignal>
#include <iostream>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "arguments.h"
#include "connection.h"
#include "files.h"
#include "tmsg/tmsg.h"
#include "values.h"

namespace {

constexpr auto body = Message::TMG_BODY;

char const usage[] =
    "Usage: tmsg_demo_client [--method NAME] PORT FILE\n"
    "Sends FILE and a value of every kind to the server at PORT of this machine, and checks and\n"
    "prints the answer. NAME is demo.store unless told; the server answers others with a fault.\n"
    "Ends with 1 when the call failed, with 2 for bad arguments. Also: --help, --version.\n";

/// Adds one value of every kind but the file. The type of the argument decides the kind.
void add_values(Message& message) {
    message.add_member(body, "int8", std::numeric_limits<signed char>::min());
    message.add_member(body, "uint8", std::numeric_limits<unsigned char>::max());
    message.add_member(body, "int16", std::numeric_limits<short>::min());
    message.add_member(body, "uint16", std::numeric_limits<unsigned short>::max());
    message.add_member(body, "int32", std::numeric_limits<int>::min());
    message.add_member(body, "uint32", std::numeric_limits<unsigned int>::max());
    message.add_member(body, "int64", std::numeric_limits<long>::min());
    message.add_member(body, "uint64", std::numeric_limits<unsigned long>::max());
    message.add_member(body, "double", 0.125);
    message.add_member(body, "bool", true);
    message.add_member(body, "string", "a text");
    unsigned char const bytes[] = {0x00, 0x7F, 0x80, 0xFF};
    message.add_member(body, "binary", bytes, sizeof bytes);

    Tm_array array;
    array.add_member(1);
    array.add_member("two");
    array.add_member(3.5);
    message.add_member(body, "array", &array);

    Tm_struct inner(nullptr);
    inner.add_member("deep", true);
    Tm_struct outer(nullptr);
    outer.add_member("inner", &inner);
    outer.add_member("list", &array);
    message.add_member(body, "struct", &outer);

    Message note;
    note.set_msg_type(Message::TMT_REQUEST);
    note.set_request_name("demo.note");
    note.add_member(body, "text", "a message in a message");
    message.add_member(body, "message", &note);
}

/// Reads until no call waits.
void receive_answers(ACE_SOCK_Stream const& stream, Tm_caller& caller, std::size_t& bytes) {
    auto const on_message = [&](std::unique_ptr<Message> answer, int, Tm_header const& header) {
        bool const is_wanted = caller.take(std::move(answer), header.get_seq_no());
        if (!is_wanted) throw std::runtime_error("answer to another call");
    };
    auto const on_error = [](int, unsigned int, std::string const& text) {
        throw std::runtime_error("broken answer: " + text);
    };
    Tm_chunk_receiver receiver(on_message, on_error);
    while (caller.waiting() > 0) {
        if (!receive_some(stream, receiver, bytes)) throw std::runtime_error("connection closed");
    }
}

std::unique_ptr<Message> call(Message const& request, unsigned short port) {
    ACE_SOCK_Stream stream;
    ACE_Time_Value const timeout(patience);
    if (ACE_SOCK_Connector().connect(stream, ACE_INET_Addr(port, host), &timeout) != 0) {
        fail("cannot connect to port " + std::to_string(port));
    }
    std::unique_ptr<Message> answer;
    Tm_caller caller;
    // There is no deadline, because each read has its own.
    unsigned int const seq_no =
        caller.start(Tm_caller::time_point::max(),
                     [&](std::unique_ptr<Message> message) { answer = std::move(message); });
    auto const start = std::chrono::steady_clock::now();
    Traffic const sent = send_message(stream, request, seq_no);
    std::size_t received = 0;
    receive_answers(stream, caller, received);
    auto const time = std::chrono::steady_clock::now() - start;
    stream.close();
    std::cout << "  sent " << traffic_text(sent) << ", received " << received << " bytes, took "
              << std::chrono::duration_cast<std::chrono::microseconds>(time).count() << " us\n";
    return answer;
}

/// Returns whether the reply has the size and CRC of the file, and all other values as they were
/// sent.
bool is_expected(Message const& answer, Message const& request) {
    Message expected;
    expected.add_member(body, "size", request.get_member_file(body, "file")->size());
    expected.add_member(body, "crc32", request.get_member_uint32(body, "crc32"));
    add_values(expected);
    return answer == expected;
}

void show(Message const& answer) {
    std::cout << "  " << Message::tmt_to_string(answer.get_msg_type());
    if (answer.get_msg_type() == Message::TMT_FAULT) {
        std::cout << ' ' << answer.get_fault_code() << ": " << answer.get_fault_string() << '\n';
    } else {
        std::cout << " with " << kinds_text(answer) << '\n';
        print_members(std::cout, answer.get_const_struct(body));
    }
}

int run(std::string const& method, unsigned short port, std::string const& path) {
    Message request;
    request.set_msg_type(Message::TMT_REQUEST);
    request.set_request_name(method);
    add_values(request);
    request.add_member(body, "file", path, 0U);
    request.add_member(body, "crc32", crc_of(*request.get_member_file(body, "file")));
    std::cout << method << " with " << kinds_text(request) << '\n';
    print_kinds(std::cout, request);

    auto const answer = call(request, port);
    show(*answer);
    if (answer->get_msg_type() == Message::TMT_FAULT) return 1;
    if (is_expected(*answer, request)) return 0;
    throw std::runtime_error("this is not the answer that was expected");
}

}  // namespace

int main(int argc, char** argv) {
    Arguments const arguments = read_arguments(argc, argv, "method", usage);
    if (arguments.rest.size() != 2) refuse_arguments("a port and a file are needed");
    unsigned short const port = read_port(arguments.rest[0]);
    std::string const method = arguments.value == nullptr ? "demo.store" : arguments.value;
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return run(method, port, arguments.rest[1]);
    } catch (std::exception const& error) {
        std::cerr << "tmsg_demo_client: " << error.what() << '\n';
        return 1;
    }
}
