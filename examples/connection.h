/// Sends messages and reads bytes, for both ends of a connection.
#pragma once

#include <ace/SOCK_Stream.h>
#include <ace/Time_Value.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <system_error>

#include "tmsg/tmsg.h"

char const host[] = "127.0.0.1";
/// The payload bytes of a chunk.
constexpr int chunk_size = 1024;
/// The time to wait for the other end, in seconds.
constexpr int patience = 10;

/// Throws an exception with `what` and the system's text for errno.
[[noreturn]] inline void fail(std::string const& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

struct Traffic {
    int chunks = 0;
    std::size_t bytes = 0;
};

inline std::string traffic_text(Traffic const& traffic) {
    return std::to_string(traffic.bytes) + " bytes in " + std::to_string(traffic.chunks) +
           (traffic.chunks == 1 ? " chunk" : " chunks");
}

inline Traffic send_message(ACE_SOCK_Stream const& stream, Message const& message,
                            unsigned int seq_no) {
    Traffic traffic;
    ACE_Time_Value const timeout(patience);
    auto const write = [&](unsigned char const* chunk, std::size_t size) {
        ++traffic.chunks;
        traffic.bytes += size;
        return stream.send_n(chunk, size, &timeout) == static_cast<ssize_t>(size);
    };
    Tm_chunk_sender sender(chunk_size);
    if (!sender.send(message, seq_no, 0, write)) fail("cannot send");
    return traffic;
}

/// Reads once from the socket. Returns false when the other end has closed the connection.
inline bool receive_some(ACE_SOCK_Stream const& stream, Tm_chunk_receiver& receiver,
                         std::size_t& bytes) {
    ACE_Time_Value const timeout(patience);
    unsigned char data[16 * 1024];
    ssize_t const size = stream.recv(data, sizeof data, &timeout);
    if (size < 0) fail("cannot receive");
    bytes += static_cast<std::size_t>(size);
    if (size > 0) receiver.receive(stream.get_handle(), data, static_cast<std::size_t>(size));
    return size > 0;
}
