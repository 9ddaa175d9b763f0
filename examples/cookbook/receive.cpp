// Receives messages from a connected socket, and reports one that is damaged.
#include <sys/socket.h>
#include <tmsg/tmsg.h>
#include <unistd.h>

#include <iostream>
#include <memory>
#include <string>

// What a client sends: two requests, whose chunks alternate. The second one ends too early.
std::string sent_bytes() {
    Message request = Message::request("stock.reserve");
    request.add_member(Message::TMG_BODY, "article", "bolt M8");
    std::string const first = tm_to_chunks(request, 1, 32);
    std::string const second = tm_to_chunks(request, 2, 32);
    std::size_t const chunk = 8 + 32;  // a header and 32 bytes of the message
    return first.substr(0, chunk) + second.substr(0, chunk) + first.substr(chunk);
}

int main() {
    int ends[2];  // in place of a connection from a client
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return 1;
    std::string const sent = sent_bytes();
    if (::write(ends[0], sent.data(), sent.size()) < 0) return 1;
    ::close(ends[0]);

    Tm_chunk_receiver receiver(
        [](std::unique_ptr<Message> message, int, Tm_header const& last_chunk) {
            std::cout << "message " << last_chunk.get_seq_no() << ": " << *message << '\n';
        },
        [](int, unsigned int sequence_number, std::string const& text) {
            std::cout << "message " << sequence_number << " is damaged: " << text << '\n';
        });

    unsigned char piece[7];  // chunks and headers may be cut anywhere
    ssize_t size = 0;
    while ((size = ::read(ends[1], piece, sizeof piece)) > 0) {
        receiver.receive(ends[1], piece, static_cast<std::size_t>(size));
    }
    receiver.finish(ends[1]);  // reports what is not complete
    ::close(ends[1]);
}
