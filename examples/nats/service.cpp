/// Sells from a stock over NATS. A request that is repeated takes nothing from the stock again.
#include <iostream>

#include "../arguments.h"
#include "../stop_signals.h"
#include "seen.h"

namespace {

constexpr auto body = Message::TMG_BODY;
constexpr int out_of_stock = 7;
constexpr int first_stock = 1'000'000;

char const usage[] =
    "Usage: tmsg_nats_service [--subject NAME] SERVER...\n"
    "Answers stock.reserve and stock.left for the callers at the servers, nats://HOST:PORT, as "
    "one\n"
    "of the workers at the subject, which is demo.stock unless told. Prints \"ready\". SIGINT and\n"
    "SIGTERM end it: it finishes what it has. Also: --help, --version.\n";

class Stock {
public:
    Message reserve(Message const& request) {
        int const count = request.get_member_int32(body, "count");
        std::lock_guard<std::mutex> const lock(mutex_);
        if (count < 0 || count > left_) throw Tm_fault_exception(out_of_stock, "out of stock");
        left_ -= count;
        Message answer;
        answer.add_member(body, "reserved", count);
        return answer;
    }
    Message left() const {
        std::lock_guard<std::mutex> const lock(mutex_);
        Message answer;
        answer.add_member(body, "left", left_);
        return answer;
    }

private:
    mutable std::mutex mutex_;
    int left_ = first_stock;
};

void run(Tm_nats_service_options const& options) {
    sigset_t const signals = block_stop_signals();
    Stock stock;
    Seen_requests seen(100'000, std::chrono::minutes(5));
    Tm_nats_service service(options);
    service.on("stock.reserve", seen.once([&](Message const& one) { return stock.reserve(one); }));
    service.on("stock.left", [&](Message const&) { return stock.left(); });
    service.start();
    std::cout << "ready" << std::endl;
    int signal = 0;
    ::sigwait(&signals, &signal);
    bool const is_finished = service.drain(std::chrono::seconds(10));
    auto const counters = service.counters();
    std::cout << "service: " << counters.received << " requests, " << counters.answered
              << " answers, " << counters.faults << " faults, " << seen.repeated()
              << " repeated requests got their first answer again"
              << (is_finished ? "" : "; some were dropped") << std::endl;
}

}  // namespace

int main(int argc, char** argv) {
    Arguments const arguments = read_arguments(argc, argv, "subject", usage);
    if (arguments.rest.empty()) refuse_arguments("a server is needed");
    try {
        Tm_nats_service_options options;
        options.servers.assign(arguments.rest.begin(), arguments.rest.end());
        options.subject = arguments.value == nullptr ? "demo.stock" : arguments.value;
        options.threads = 4;
        run(options);
        return 0;
    } catch (std::exception const& error) {
        std::cerr << "tmsg_nats_service: " << error.what() << '\n';
        return 1;
    }
}
