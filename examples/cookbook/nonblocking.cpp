// Sends a large message over a socket that does not block, and receives it on the same thread.
#include <poll.h>
#include <sys/socket.h>
#include <tmsg/tmsg.h>
#include <unistd.h>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

int main() {
    int ends[2];  // in place of a connection
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) != 0) return 1;

    Message message;
    message.add_member(Message::TMG_BODY, "bytes", std::vector<unsigned char>(8'000'000));
    Tm_chunk_source source(message, 1, 0, 4096);  // keeps one chunk in memory
    unsigned char const* chunk = nullptr;
    std::size_t left = 0;  // of the chunk
    bool has_more = source.next(chunk, left);

    std::unique_ptr<Message> received;
    Tm_chunk_receiver receiver(
        [&](std::unique_ptr<Message> whole, int, Tm_header const&) { received = std::move(whole); },
        [](int, unsigned int, std::string const& text) { std::cerr << text << '\n'; });

    while (received == nullptr) {
        short const wanted = has_more ? POLLOUT : 0;
        pollfd watched[] = {{ends[0], wanted, 0}, {ends[1], POLLIN, 0}};
        if (::poll(watched, 2, 5000) <= 0) return 1;
        while (has_more && (watched[0].revents & POLLOUT) != 0) {
            ssize_t const sent = ::send(ends[0], chunk, left, MSG_NOSIGNAL);
            if (sent < 0) break;  // no room now, so the rest of the chunk waits
            chunk += sent;
            left -= static_cast<std::size_t>(sent);
            if (left == 0) has_more = source.next(chunk, left);
        }
        unsigned char block[1 << 16];
        ssize_t const got = ::recv(ends[1], block, sizeof block, 0);
        if (got > 0) receiver.receive(ends[1], block, static_cast<std::size_t>(got));
    }
    std::cout << (*received == message ? "the same message\n" : "another message\n");
    ::close(ends[0]);
    ::close(ends[1]);
}
