// Looks into a capture: a file with the chunks of a connection, one after another.
#include <tmsg/tmsg.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>

// Writes a capture, as a tap or a log of your program would do it.
void write_capture(char const* path) {
    Message request = Message::request("stock.reserve");
    request.add_member(Message::TMG_BODY, "article", "bolt M8");
    request.add_member(Message::TMG_BODY, "count", 250);
    std::ofstream(path, std::ios::binary)
        << tm_to_chunks(request, 7, 48) << tm_to_chunks(Message::fault(7, "sold out"), 8, 48);
}

int main() {
    write_capture("session.chunks");
    std::ifstream file("session.chunks", std::ios::binary);
    std::string const bytes(std::istreambuf_iterator<char>(file), {});
    auto const* const first = reinterpret_cast<unsigned char const*>(bytes.data());

    // The chunks.
    Tm_chunk_reader reader;
    unsigned char const* data = first;
    std::size_t size = bytes.size();
    using Step = Tm_chunk_reader::Step;
    for (Step step; (step = reader.next(data, size)) != Step::need_input;) {
        if (step != Step::header) continue;
        std::cout << "at byte " << reader.offset() << ": chunk of message "
                  << reader.header().get_seq_no() << '\n';
    }

    // The messages.
    Tm_chunk_receiver receiver(
        [](std::unique_ptr<Message> message, int, Tm_header const& last_chunk) {
            std::cout << "message " << last_chunk.get_seq_no() << ": " << *message << '\n';
        },
        [](int, unsigned int, std::string const& text) { std::cout << text << '\n'; });
    receiver.receive(0, first, bytes.size());
    receiver.finish(0);
}
