// Calls a method over NATS. The argument is a server, nats://HOST:PORT.
#include <tmsg/nats/tm_nats.h>
#include <tmsg/tmsg.h>

#include <chrono>
#include <iostream>
#include <memory>
#include <string>

constexpr auto body = Message::TMG_BODY;

int main(int argc, char** argv) {
    if (argc != 2) return 2;

    // A worker, usually in another process. Any number of workers share the requests.
    Tm_nats_service_options worker;
    worker.servers = {argv[1]};
    worker.subject = "stock";
    Tm_nats_service service(worker);
    service.on("stock.reserve", [](Message const& request) {
        Message answer;
        answer.add_member(body, "reserved", request.get_member_int32(body, "count"));
        return answer;
    });
    service.start();

    Tm_nats_caller_options options;
    options.servers = {argv[1]};
    options.subject = "stock";
    Tm_nats_caller caller(options);

    Message request = Message::request("stock.reserve");
    request.add_member(body, "count", 250);
    std::string why;
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    std::unique_ptr<Message> const answer = caller.call(request, deadline, &why);
    if (answer == nullptr) {
        std::cout << "no answer: " << why << '\n';
    } else {
        std::cout << *answer << '\n';
    }
    service.drain(std::chrono::seconds(10));  // finishes what it has
}
