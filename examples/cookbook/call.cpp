// Makes several calls at a time, and gives up those without an answer.
#include <tmsg/tmsg.h>

#include <chrono>
#include <iostream>
#include <memory>
#include <string>

using std::chrono::seconds;

std::unique_ptr<Message> answer_with(int left) {
    auto answer = std::make_unique<Message>();
    answer->add_member(Message::TMG_BODY, "left", left);
    return answer;
}

int main() {
    Tm_caller caller;
    auto const now = std::chrono::steady_clock::now();
    auto const begin = [&](std::string const& article, seconds patience) {
        return caller.start(now + patience, [article](std::unique_ptr<Message> answer) {
            std::cout << article << ": ";
            if (answer == nullptr) {
                std::cout << "no answer in time\n";
            } else {
                std::cout << answer->get_member_int32(Message::TMG_BODY, "left") << " left\n";
            }
        });
    };
    // Each number goes out with the chunks of its request: sender.send(request, number, ...).
    unsigned int const bolts = begin("bolt M8", seconds(5));
    unsigned int const nuts = begin("nut M8", seconds(5));
    begin("washer", seconds(1));

    // The message handler of a Tm_chunk_receiver passes on what arrives, in any order.
    caller.take(answer_with(70), nuts);
    caller.take(answer_with(150), bolts);

    // The event loop waits until caller.next_deadline(), and then calls expire().
    caller.expire(now + seconds(2));
    std::cout << caller.waiting() << " calls wait\n";
}
