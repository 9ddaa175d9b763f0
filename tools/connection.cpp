#include "connection.h"

#include <algorithm>
#include <cerrno>

#include "interrupt.h"

namespace {

[[noreturn]] void fail(std::string const& what) {
    throw_if_interrupted();
    if (errno == ETIME) throw Lost_connection(what + ": timed out");
    throw Lost_connection(Failure::of_system(what).what());
}

/// Asked before every call: one with no time left would do what can be done at once.
ACE_Time_Value time_left(Deadline const& deadline, std::string const& what) {
    throw_if_interrupted();
    ACE_Time_Value left = deadline.left();
    if (left == ACE_Time_Value::zero) throw Lost_connection(what + ": timed out");
    return left;
}

}  // namespace

ACE_Time_Value Deadline::left() const {
    auto const left = std::max(end_ - Clock::now(), Clock::duration::zero());
    return ACE_Time_Value(std::chrono::duration_cast<std::chrono::microseconds>(left));
}

void Connection::send(Message const& message, int chunk_size, unsigned int seq_no,
                      unsigned char port, Deadline const& deadline) {
    Tm_chunk_sender sender(chunk_size);
    bool const sent =
        sender.send(message, seq_no, port, [&](unsigned char const* chunk, std::size_t size) {
            ACE_Time_Value const left = time_left(deadline, "failed to send");
            return stream_.send_n(chunk, size, &left) == static_cast<ssize_t>(size);
        });
    if (!sent) fail("failed to send");
}

bool Connection::receive(Tm_chunk_receiver& receiver, Deadline const& deadline) {
    unsigned char block[1 << 16];
    ACE_Time_Value const left = time_left(deadline, "failed to receive");
    ssize_t const got = stream_.recv(block, sizeof block, &left);
    if (got < 0) fail("failed to receive");
    receiver.receive(handle(), block, static_cast<std::size_t>(got));
    return got > 0;
}
