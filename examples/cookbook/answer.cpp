// Replies to requests: a service calls the method that a request names.
#include <tmsg/tmsg.h>

#include <iostream>
#include <memory>
#include <string>

constexpr auto body = Message::TMG_BODY;

// In place of a socket. The first argument of receive() is any number for the connection.
void feed(Tm_chunk_receiver& receiver, std::string const& bytes) {
    receiver.receive(3, reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size());
}

int main() {
    int stock = 400;
    Tm_service service;
    service.on("stock.reserve", [&](Message const& request) {
        int const count = request.get_member_int32(body, "count");
        stock -= count;
        Message answer;  // a new message is a response
        answer.add_member(body, "reserved", count);
        answer.add_member(body, "left", stock);
        return answer;
    });

    std::string to_client;
    Tm_chunk_receiver receiver(
        [&](std::unique_ptr<Message> request, int, Tm_header const& header) {
            Message const answer = service.answer(*request);
            tm_remove_received_files(*request);
            // The client finds its request by the sequence number.
            to_client += tm_to_chunks(answer, header.get_seq_no(), 4096);
        },
        [](int, unsigned int, std::string const& text) { std::cerr << text << '\n'; });

    // A client with one request.
    Message request = Message::request("stock.reserve");
    request.add_member(body, "count", 250);
    std::string const from_client = tm_to_chunks(request, 17, 4096);
    feed(receiver, from_client);

    Tm_chunk_receiver client(
        [](std::unique_ptr<Message> answer, int, Tm_header const& header) {
            std::cout << "answer to request " << header.get_seq_no() << ": "
                      << answer->get_member_int32(body, "left") << " are left\n";
        },
        [](int, unsigned int, std::string const& text) { std::cerr << text << '\n'; });
    feed(client, to_client);
}
