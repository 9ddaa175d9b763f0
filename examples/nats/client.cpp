/// Reserves from the stock of a service over NATS, many times at once, and checks what is left.
#include <atomic>
#include <charconv>
#include <condition_variable>
#include <cstring>
#include <iostream>
#include <mutex>
#include <stdexcept>

#include "../arguments.h"
#include "tmsg/nats/tm_nats.h"

namespace {

constexpr auto body = Message::TMG_BODY;
constexpr std::chrono::seconds patience{20};

char const usage[] =
    "Usage: tmsg_nats_client [--subject NAME] COUNT SERVER...\n"
    "Sends COUNT requests stock.reserve at once to the services at the subject, which is "
    "demo.stock\n"
    "unless told, at the servers, nats://HOST:PORT. Checks that just as much is missing from the\n"
    "stock. Ends with 1 when a call failed, with 2 for bad arguments. Also: --help, --version.\n";

Tm_nats_caller::time_point deadline() { return std::chrono::steady_clock::now() + patience; }

int left_in(Tm_nats_caller& caller) {
    std::string why;
    auto const answer = caller.call(Message::request("stock.left"), deadline(), &why);
    if (answer == nullptr) throw std::runtime_error(why);
    return answer->get_member_int32(body, "left");
}

/// Starts all calls, and waits until the last one has ended. Returns how many were answered.
int reserve(Tm_nats_caller& caller, int count) {
    std::mutex mutex;
    std::condition_variable changed;
    int ended = 0;
    int reserved = 0;
    auto const on_answer = [&](std::unique_ptr<Message> answer, std::string const& why) {
        bool const is_done = answer != nullptr && answer->get_msg_type() == Message::TMT_RESPONSE;
        if (!is_done) std::cerr << "no answer: " << why << '\n';
        std::lock_guard<std::mutex> const lock(mutex);
        reserved += is_done ? answer->get_member_int32(body, "reserved") : 0;
        ++ended;
        changed.notify_one();
    };
    for (int i = 0; i < count; ++i) {
        Message request = Message::request("stock.reserve");
        request.add_member(body, "count", 1);
        caller.start(std::move(request), deadline(), on_answer);
    }
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [&] { return ended == count; });
    return reserved;
}

int run(Tm_nats_caller_options const& options, int count) {
    Tm_nats_caller caller(options);
    int const before = left_in(caller);
    int const reserved = reserve(caller, count);
    int const missing = before - left_in(caller);
    auto const counters = caller.counters();
    std::cout << "client: reserved " << reserved << " of " << count << ", " << missing
              << " are missing from the stock, " << counters.retries << " tries were repeated, "
              << counters.late << " answers came twice or late" << std::endl;
    return reserved == count && missing == count ? 0 : 1;
}

int read_count(char const* text) {
    int count = 0;
    char const* const end = text + std::strlen(text);
    auto const [stop, error] = std::from_chars(text, end, count);
    if (stop != end || error != std::errc() || count < 1) {
        refuse_arguments(std::string("no count: ") + text);
    }
    return count;
}

}  // namespace

int main(int argc, char** argv) {
    Arguments const arguments = read_arguments(argc, argv, "subject", usage);
    if (arguments.rest.size() < 2) refuse_arguments("a count and a server are needed");
    int const count = read_count(arguments.rest[0]);
    try {
        Tm_nats_caller_options options;
        options.servers.assign(arguments.rest.begin() + 1, arguments.rest.end());
        options.subject = arguments.value == nullptr ? "demo.stock" : arguments.value;
        return run(options, count);
    } catch (std::exception const& error) {
        std::cerr << "tmsg_nats_client: " << error.what() << '\n';
        return 1;
    }
}
