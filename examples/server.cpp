/// Replies to calls at a port of this machine. Serves one connection after another.
#include <ace/INET_Addr.h>
#include <ace/SOCK_Acceptor.h>
#include <ace/SOCK_Stream.h>
#include <poll.h>
#include <unistd.h>

#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

#include "arguments.h"
#include "connection.h"
#include "files.h"
#include "stop_signals.h"
#include "tmsg/tmsg.h"
#include "values.h"

namespace {

constexpr auto body = Message::TMG_BODY;
/// For this port the system chooses a free one.
constexpr unsigned short free_port = 0;

char const usage[] =
    "Usage: tmsg_demo_server [--port PORT]\n"
    "Answers calls of demo.store at PORT of this machine, or at a free one, which it prints.\n"
    "SIGINT and SIGTERM end it. Ends with 2 for bad arguments. Also: --help, --version.\n";

/// The code of the answer to a message that cannot be decoded. Tm_service uses 1 and 2.
constexpr int broken_message = 3;

/// Puts the size and CRC of the file, and a copy of every other value, into the reply. Each getter
/// throws when the request has no such member, and when the member has another type.
Message store(Message const& request) {
    Tm_file const& file = *request.get_member_file(body, "file");
    unsigned int const crc = crc_of(file);
    if (crc != request.get_member_uint32(body, "crc32")) {
        throw std::runtime_error("the file arrived with another CRC than it was sent with");
    }
    Message answer;
    answer.add_member(body, "size", file.size());
    answer.add_member(body, "crc32", crc);
    answer.add_member(body, "int8", request.get_member_int8(body, "int8"));
    answer.add_member(body, "uint8", request.get_member_uint8(body, "uint8"));
    answer.add_member(body, "int16", request.get_member_int16(body, "int16"));
    answer.add_member(body, "uint16", request.get_member_uint16(body, "uint16"));
    answer.add_member(body, "int32", request.get_member_int32(body, "int32"));
    answer.add_member(body, "uint32", request.get_member_uint32(body, "uint32"));
    answer.add_member(body, "int64", request.get_member_int64(body, "int64"));
    answer.add_member(body, "uint64", request.get_member_uint64(body, "uint64"));
    answer.add_member(body, "double", request.get_member_double(body, "double"));
    answer.add_member(body, "bool", request.get_member_bool(body, "bool"));
    answer.add_member(body, "string", request.get_member_string(body, "string"));
    answer.add_member(body, "binary", request.get_member_binary(body, "binary"));
    answer.add_member(body, "array", request.get_member_array(body, "array"));
    answer.add_member(body, "struct", request.get_member_struct(body, "struct"));
    answer.add_member(body, "message", request.get_member_message(body, "message"));
    return answer;
}

/// Waits until the handle is readable. Returns false when a signal must end the server, or when the
/// time ends before. With a negative time, waits without a limit.
bool wait_for(int handle, int stop, int seconds) {
    pollfd watched[] = {{handle, POLLIN, 0}, {stop, POLLIN, 0}};
    return ::poll(watched, 2, seconds * 1000) > 0 && watched[1].revents == 0;
}

void serve(ACE_SOCK_Stream const& stream, Tm_service const& service, int stop) {
    std::size_t received = 0;
    auto const send = [&](Message const& answer, unsigned int seq_no, std::string const& what) {
        Traffic const sent = send_message(stream, answer, seq_no);
        std::cout << "received " << received << " bytes: " << what << "; answered with a "
                  << Message::tmt_to_string(answer.get_msg_type()) << ", " << traffic_text(sent)
                  << std::endl;
        received = 0;
    };
    auto const on_request = [&](std::unique_ptr<Message> request, int, Tm_header const& header) {
        Message const answer = service.answer(*request);
        tm_remove_received_files(*request);
        send(answer, header.get_seq_no(), kinds_text(*request));
    };
    auto const on_error = [&](int, unsigned int seq_no, std::string const& text) {
        send(Message::fault(broken_message, text), seq_no, text);
    };
    Tm_chunk_receiver receiver(on_request, on_error);
    while (wait_for(stream.get_handle(), stop, patience) &&
           receive_some(stream, receiver, received)) {
    }
}

void run(unsigned short port) {
    int const stop = open_stop_signals();
    ACE_SOCK_Acceptor acceptor;
    ACE_INET_Addr address(port, host);
    if (acceptor.open(address, 1) != 0) fail("cannot listen at port " + std::to_string(port));
    acceptor.get_local_addr(address);
    std::cout << address.get_port_number() << std::endl;

    Tm_service service;
    service.on("demo.store", store);
    while (wait_for(acceptor.get_handle(), stop, -1)) {
        ACE_SOCK_Stream stream;
        if (acceptor.accept(stream) != 0) continue;
        try {
            serve(stream, service, stop);
        } catch (std::exception const& error) {
            std::cerr << "tmsg_demo_server: a client was dropped: " << error.what() << std::endl;
        }
        stream.close();
    }
    acceptor.close();
    ::close(stop);
}

}  // namespace

int main(int argc, char** argv) {
    Arguments const arguments = read_arguments(argc, argv, "port", usage);
    if (!arguments.rest.empty()) refuse_arguments("no arguments but options are known");
    try {
        run(arguments.value == nullptr ? free_port : read_port(arguments.value));
        return 0;
    } catch (std::exception const& error) {
        std::cerr << "tmsg_demo_server: " << error.what() << '\n';
        return 1;
    }
}
