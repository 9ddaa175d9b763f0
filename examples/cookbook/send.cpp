// Sends a request over a connected socket, in chunks.
#include <sys/socket.h>
#include <tmsg/tmsg.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>

// Returns false when the connection is broken.
bool write_all(int socket, unsigned char const* data, std::size_t size) {
    while (size > 0) {
        ssize_t const written = ::send(socket, data, size, MSG_NOSIGNAL);
        if (written < 0 && errno != EINTR) return false;
        if (written < 0) continue;
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

int main() {
    int ends[2];  // in place of a connection to a server
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return 1;

    Message request = Message::request("stock.reserve");
    request.add_member(Message::TMG_BODY, "article", "bolt M8");
    request.add_member(Message::TMG_BODY, "count", 250);

    unsigned int const sequence_number = 1;
    unsigned char const port = 0;
    Tm_chunk_sender sender(32);  // a chunk carries at most 32 bytes of the message
    bool const is_sent = sender.send(request, sequence_number, port,
                                     [&](unsigned char const* chunk, std::size_t size) {
                                         std::cout << "a chunk of " << size << " bytes\n";
                                         return write_all(ends[0], chunk, size);
                                     });
    std::cout << (is_sent ? "sent\n" : "the connection is broken\n");
    ::close(ends[0]);
    ::close(ends[1]);
}
