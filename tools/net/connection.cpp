/// Connects, sends and receives.
#include "net/connection.h"

#include <ace/SOCK_Connector.h>

#include <algorithm>
#include <cerrno>

#include "io/system.h"
#include "net/listener.h"

namespace {

[[noreturn]] void fail(std::string const& what) {
    throw_if_interrupted();
    if (errno == ETIME) throw Failure(what + ": timed out");
    throw Failure::of_system(what);
}

/// Returns the time that is left, and throws Failure when there is none. Without time, a system
/// call would still do the work that needs no waiting.
ACE_Time_Value time_left(Deadline const& deadline, std::string const& what) {
    throw_if_interrupted();
    ACE_Time_Value left = deadline.left();
    if (left == ACE_Time_Value::zero) throw Failure(what + ": timed out");
    return left;
}

}  // namespace

Deadline::Deadline(double seconds)
    : end_(Clock::now() +
           std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds))) {}

ACE_Time_Value Deadline::left() const {
    auto const left = std::max(end_ - Clock::now(), Clock::duration::zero());
    return ACE_Time_Value(std::chrono::duration_cast<std::chrono::microseconds>(left));
}

void Connection::open(std::string const& address, Deadline const& deadline) {
    ACE_Time_Value const left = deadline.left();
    if (ACE_SOCK_Connector().connect(stream_, resolve(address), &left) == 0)
        return move_above_standard(stream_);
    throw_if_interrupted();
    throw Failure::of_system("failed to connect to " + address);
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

bool begin_to_connect(ACE_SOCK_Stream& stream, ACE_INET_Addr const& address) {
    bool const is_done = ACE_SOCK_Connector().connect(stream, address, &ACE_Time_Value::zero) == 0;
    if (!is_done && errno != EWOULDBLOCK && errno != EINPROGRESS) return false;
    set_up(stream);
    return true;
}

int error_of(ACE_SOCK_Stream const& stream) {
    int error = 0;
    int size = sizeof error;
    bool const is_known = stream.get_option(SOL_SOCKET, SO_ERROR, &error, &size) == 0;
    return is_known ? error : errno;
}
