/// Sends parcels to the workers of a cluster, and checks what they say of each.
#include <unistd.h>

#include <atomic>
#include <charconv>
#include <cstdio>
#include <iostream>
#include <mutex>
#include <thread>

#include "../arguments.h"
#include "parcel.h"
#include "tmsg/nats/tm_nats.h"

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr unsigned int senders = 16;
constexpr std::chrono::seconds patience{30};

char const usage[] =
    "Usage: tmsg_nats_load [--files FOLDER] COUNT SERVER...\n"
    "Sends COUNT requests parcel.receive, 16 at a time, to the workers at the servers,\n"
    "nats://HOST:PORT, and checks each answer. The files that it sends are in the folder, else in\n"
    "the current one. Prints \"reached PERCENT\" at each twentieth of the requests, and a "
    "summary.\n"
    "Ends with 1 when an answer is wrong or missing, with 2 for bad arguments. Also: --help,\n"
    "--version.\n";

class Load {
public:
    Load(Tm_nats_caller& caller, unsigned int count, std::string folder)
        : caller_(caller), count_(count), folder_(std::move(folder)) {}

    /// Returns whether each request got its answer.
    bool run() {
        auto const begun = Clock::now();
        std::vector<std::thread> threads;
        for (unsigned int i = 0; i < senders; ++i) threads.emplace_back([this] { send_many(); });
        show_progress(begun);
        for (std::thread& thread : threads) thread.join();
        print_summary(std::chrono::duration<double>(Clock::now() - begun).count());
        return right_ == count_;
    }

private:
    void send_many() {
        while (true) {
            unsigned int const number = next_++;
            if (number >= count_) return;
            std::string problem;
            try {
                problem = send(Parcel(number, count_));
            } catch (std::exception const& error) {
                problem = error.what();
            }
            std::lock_guard<std::mutex> const lock(mutex_);
            if (!problem.empty()) std::cerr << "request " << number << ": " << problem << '\n';
            right_ += problem.empty() ? 1 : 0;
            ++ended_;
        }
    }

    /// Returns what is wrong, or nothing.
    std::string send(Parcel const& parcel) {
        std::string const path = folder_ + "/parcel" + std::to_string(parcel.number);
        Message const request = parcel.request(path);
        auto const begun = Clock::now();
        std::string why;
        auto const answer = caller_.call(request, begun + patience, &why);
        Milliseconds const time = Clock::now() - begun;
        if (!parcel.file.empty()) ::unlink(path.c_str());
        if (answer == nullptr) return why;
        if (answer->get_msg_type() != Message::TMT_RESPONSE) return "a fault";
        auto const receipt = tm_from_struct<Receipt>(answer->get_const_struct(Message::TMG_BODY));
        if (!parcel.is_receipt(receipt)) return "a wrong answer from " + receipt.worker;
        std::lock_guard<std::mutex> const lock(mutex_);
        latencies_.push_back(time.count());
        return {};
    }

    unsigned int ended() const {
        std::lock_guard<std::mutex> const lock(mutex_);
        return ended_;
    }

    /// Returns when all requests have ended.
    void show_progress(Clock::time_point begun) const {
        bool const is_live = ::isatty(STDERR_FILENO) != 0;
        unsigned int reached = 0;
        while (reached < 100) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            unsigned int const now = ended();
            for (; reached < 100 && now * 100 >= (reached + 5) * count_; reached += 5) {
                std::cout << "reached " << reached + 5 << std::endl;
            }
            if (!is_live) continue;
            double const seconds = std::chrono::duration<double>(Clock::now() - begun).count();
            std::fprintf(
                stderr, "\r\033[K%3u%%  %u of %u requests, %.0f a second, %lu tries repeated",
                now * 100 / count_, now, count_, now / seconds, caller_.counters().retries);
        }
        if (is_live) std::fputs("\r\033[K", stderr);
    }

    void print_summary(double seconds) {
        auto const counters = caller_.counters();
        double const sent = static_cast<double>(counters.bytes_sent) / 1e6;
        double const received = static_cast<double>(counters.bytes_received) / 1e6;
        std::printf("requests   %u sent, %u with the right answer\n", count_, right_);
        std::printf("tries      %lu repeated; %lu answers came twice or late\n", counters.retries,
                    counters.late);
        std::printf("bytes      %.0f MB sent, %.0f MB received\n", sent, received);
        std::printf("throughput %.0f requests/s, %.0f MB/s, in %.1f s\n", count_ / seconds,
                    (sent + received) / seconds, seconds);
        if (latencies_.empty()) return;
        std::sort(latencies_.begin(), latencies_.end());
        auto const at = [&](std::size_t percent) {
            return latencies_[(latencies_.size() - 1) * percent / 100];
        };
        std::printf("latency    median %.1f ms, 99%% %.0f ms, maximum %.0f ms\n", at(50), at(99),
                    at(100));
    }

    Tm_nats_caller& caller_;
    unsigned int const count_;
    std::string const folder_;
    std::atomic<unsigned int> next_{0};
    mutable std::mutex mutex_;
    unsigned int ended_ = 0;
    unsigned int right_ = 0;
    std::vector<double> latencies_;
};

unsigned int read_count(char const* text) {
    unsigned int count = 0;
    char const* const end = text + std::strlen(text);
    auto const [stop, error] = std::from_chars(text, end, count);
    if (stop != end || error != std::errc() || count < 1 || count > 1'000'000) {
        refuse_arguments(std::string("no count up to 1000000: ") + text);
    }
    return count;
}

}  // namespace

int main(int argc, char** argv) {
    Arguments const arguments = read_arguments(argc, argv, "files", usage);
    if (arguments.rest.size() < 2) refuse_arguments("a count and a server are needed");
    unsigned int const count = read_count(arguments.rest[0]);
    try {
        Tm_nats_caller_options options;
        options.servers.assign(arguments.rest.begin() + 1, arguments.rest.end());
        options.subject = "demo.parcels";
        Tm_nats_caller caller(options);
        Load load(caller, count, arguments.value == nullptr ? "." : arguments.value);
        return load.run() ? 0 : 1;
    } catch (std::exception const& error) {
        std::cerr << "tmsg_nats_load: " << error.what() << '\n';
        return 1;
    }
}
