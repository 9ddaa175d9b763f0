/// The methods of the tests' workers, and requests for them.
#pragma once

#include <tmsg/nats/tm_nats.h>

#include "support/support.h"

inline unsigned long sum_of(std::string const& bytes) {
    unsigned long sum = bytes.size();
    for (char const byte : bytes) sum = sum * 31 + static_cast<unsigned char>(byte);
    return sum;
}

inline Message echo_request(std::string const& content) {
    Message request = Message::request("test.echo");
    Tm_binary const bytes = binary_of(content);
    request.add_member(body, "content", &bytes);
    return request;
}

/// Asks for the sums of a blob and of a file.
inline Message size_request(std::string const& content, std::string const& path) {
    Message request = Message::request("test.size");
    Tm_binary const bytes = binary_of(content);
    request.add_member(body, "content", &bytes);
    request.add_file(body, "file", path);
    return request;
}

inline Message give_request(unsigned int size) {
    Message request = Message::request("test.give");
    request.add_member(body, "size", size);
    return request;
}

inline std::string content_in(Message const& message) {
    Tm_binary const& bytes = *message.get_member_binary(body, "content");
    return {reinterpret_cast<char const*>(bytes.get_buffer()), bytes.get_buffer_size()};
}

inline void add_methods(Tm_nats_service& service) {
    service.on("test.echo", [](Message const& request) {
        Message answer;
        answer.get_struct(body) = request.get_const_struct(body);
        return answer;
    });
    service.on("test.size", [](Message const& request) {
        Message answer;
        answer.add_member(body, "content", sum_of(content_in(request)));
        answer.add_member(body, "file", sum_of(content_of(request.get_member_file(body, "file")->path())));
        return answer;
    });
    service.on("test.give", [](Message const& request) {
        std::string const content = pattern(request.get_member_uint32(body, "size"));
        Message answer;
        Tm_binary const bytes = binary_of(content);
        answer.add_member(body, "content", &bytes);
        return answer;
    });
    service.on("test.fail", [](Message const& request) -> Message {
        throw Tm_fault_exception(request.get_member_int32(body, "code"), "as it was asked for");
    });
}
