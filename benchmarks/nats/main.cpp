/// Measures the echo with tmsg beside the echo with libnats alone, at a running server.
///     nats_echo URL SERVER_PROCESS ROUNDS [PAYLOAD]   prints tables, or their rows of this payload
///     nats_echo serve KIND URL SUBJECT SEND_AT_ONCE   is a worker until it is killed
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bare.h"
#include "echo.h"

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;
using namespace std::chrono_literals;

constexpr auto span = 300ms;
constexpr int worker_counts[] = {1, 2, 4};

/// How many calls go on at a time: on threads that wait, or with a handler that starts the next
/// one.
struct Load {
    char const* title;
    std::size_t size;
    int threads;
    int handlers;
    bool send_at_once;
};
constexpr Load loads[] = {{"100 bytes", 100, 16, 0, true},
                          {"10 KB", 10'000, 16, 0, true},
                          {"1 MB", 1'000'000, 4, 0, true},
                          {"100 bytes, handlers", 100, 0, 64, true},
                          {"100 bytes, handlers, gathered", 100, 0, 512, false}};

/// Child processes that end with their object.
class Workers {
public:
    Workers() {
        if (::pipe2(ready_, O_CLOEXEC) != 0) throw std::runtime_error("cannot make a pipe");
    }
    Workers(Workers const&) = delete;
    Workers& operator=(Workers const&) = delete;
    ~Workers() {
        for (pid_t const process : processes_) ::kill(process, SIGKILL);
        for (pid_t const process : processes_) ::waitpid(process, nullptr, 0);
        for (int const end : ready_) ::close(end);
    }
    /// Begins a worker, and waits until it has written a byte to standard output.
    void add(std::vector<std::string> words) {
        std::vector<char*> arguments;
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        pid_t const process = ::fork();
        if (process < 0) throw std::runtime_error("cannot make a process");
        if (process == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::dup2(ready_[1], STDOUT_FILENO);
            ::execv("/proc/self/exe", arguments.data());
            ::_exit(127);
        }
        processes_.push_back(process);
        char byte = 0;
        pollfd waiting = {ready_[0], POLLIN, 0};
        if (::poll(&waiting, 1, 10'000) == 1) (void)!::read(ready_[0], &byte, 1);
        if (byte == 0) throw std::runtime_error("a worker does not begin");
    }
    std::vector<pid_t> const& processes() const { return processes_; }

private:
    int ready_[2] = {};
    std::vector<pid_t> processes_;
};

double processor_time(pid_t process) {
    clockid_t clock = 0;
    timespec time = {};
    if (::clock_getcpuclockid(process, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
        throw std::runtime_error("a process has gone");
    }
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Processor time of the client, the server and the workers.
struct Times {
    double client = 0;
    double server = 0;
    double workers = 0;
};

Times operator-(Times const& a, Times const& b) {
    return {a.client - b.client, a.server - b.server, a.workers - b.workers};
}

/// What one kind of echo did, one number for each round.
struct Rounds {
    std::vector<double> rate;
    std::vector<double> median;  ///< milliseconds of a call, one at a time
    std::vector<double> slow;    ///< the 99th of 100
    std::vector<double> client;  ///< microseconds of processor time for a request
    std::vector<double> server;
    std::vector<double> workers;
};

double median_of(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void expect_size(std::size_t size, std::size_t expected) {
    if (size == expected) return;
    std::fprintf(stderr, "nats_echo: an answer of %zu bytes instead of %zu\n", size, expected);
    std::_Exit(1);
}

/// One client, its workers, and what was measured.
template <class Caller>
class Side {
public:
    Side(std::string const& kind, std::string const& url, Load const& load, int workers)
        : load_(load), payload_(load.size, 'x') {
        std::string const subject =
            "echo." + kind + '.' + std::to_string(&load - loads) + '.' + std::to_string(workers);
        for (int i = 0; i < workers; ++i) {
            workers_.add({"nats_echo", "serve", kind, url, subject, load.send_at_once ? "1" : "0"});
        }
        caller_ = std::make_unique<Caller>(url, subject, load.send_at_once);
        caller_->on_answer([this](std::size_t size) { take(size); });
    }

    void measure(pid_t server) {
        measure_rate(server);
        measure_latency();
    }
    Rounds const& rounds() const { return rounds_; }
    Caller const& caller() const { return *caller_; }

private:
    Times times(pid_t server) const {
        Times all = {processor_time(::getpid()), processor_time(server), 0};
        for (pid_t const worker : workers_.processes()) all.workers += processor_time(worker);
        return all;
    }

    void measure_rate(pid_t server) {
        Times const before = times(server);
        auto const begun = Clock::now();
        end_ = begun + span;
        count_ = 0;
        if (load_.threads > 0) {
            call_on_threads();
        } else {
            call_with_handlers();
        }
        double const seconds = Seconds(Clock::now() - begun).count();
        Times const used = times(server) - before;
        rounds_.rate.push_back(count_ / seconds);
        rounds_.client.push_back(used.client / count_ * 1e6);
        rounds_.server.push_back(used.server / count_ * 1e6);
        rounds_.workers.push_back(used.workers / count_ * 1e6);
    }

    void call_on_threads() {
        std::vector<std::thread> threads;
        for (int i = 0; i < load_.threads; ++i) {
            threads.emplace_back([this] {
                for (; Clock::now() < end_; ++count_) {
                    expect_size(caller_->call(payload_), payload_.size());
                }
            });
        }
        for (std::thread& thread : threads) thread.join();
    }

    void call_with_handlers() {
        under_way_ = load_.handlers;
        for (int i = 0; i < load_.handlers; ++i) caller_->start(payload_);
        std::unique_lock<std::mutex> lock(mutex_);
        is_done_.wait(lock, [this] { return under_way_ == 0; });
    }

    /// Starts another call for each that ended.
    void take(std::size_t size) {
        expect_size(size, payload_.size());
        ++count_;
        if (Clock::now() < end_) return caller_->start(payload_);
        std::lock_guard<std::mutex> const lock(mutex_);
        if (--under_way_ == 0) is_done_.notify_one();
    }

    void measure_latency() {
        std::vector<double> all;
        auto const end = Clock::now() + span;
        for (auto now = Clock::now(); now < end;) {
            expect_size(caller_->call(payload_), payload_.size());
            auto const after = Clock::now();
            all.push_back(Seconds(after - now).count() * 1e3);
            now = after;
        }
        std::sort(all.begin(), all.end());
        rounds_.median.push_back(all[all.size() / 2]);
        rounds_.slow.push_back(all[all.size() * 99 / 100]);
    }

    Load const& load_;
    std::string const payload_;
    Workers workers_;
    std::unique_ptr<Caller> caller_;
    Clock::time_point end_;
    std::atomic<int> count_{0};
    std::mutex mutex_;
    std::condition_variable is_done_;
    int under_way_ = 0;
    Rounds rounds_;
};

double memcpy_rate(std::size_t size) {
    std::string from(size, 'x');
    std::string to(size, 'y');
    int count = 0;
    auto const begun = Clock::now();
    for (; Clock::now() - begun < span / 3; ++count) {
        std::memcpy(to.data(), from.data(), size);
        asm volatile("" : : "r"(to.data()) : "memory");
        std::memcpy(from.data(), to.data(), size);
        asm volatile("" : : "r"(from.data()) : "memory");
    }
    return count / Seconds(Clock::now() - begun).count();
}

/// The median of the ratios of single rounds: what slows a round slows both sides.
double ratio(std::vector<double> const& own, std::vector<double> const& bare) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < own.size(); ++i) ratios.push_back(own[i] / bare[i]);
    return median_of(ratios);
}

struct Row {
    Load const* load;
    int workers;
    Rounds own;
    Rounds bare;
    double copies;  ///< memcpy
    double bytes;   ///< of the payloads of a request and its answer
};

Row measure(Load const& load, int workers, std::string const& url, pid_t server, int rounds) {
    Side<Tmsg_caller> own("tmsg", url, load, workers);
    Side<Bare_caller> bare("bare", url, load, workers);
    for (int round = 0; round < rounds; ++round) {
        if (round % 2 == 0) own.measure(server);
        bare.measure(server);
        if (round % 2 != 0) own.measure(server);
    }
    return {&load,
            workers,
            own.rounds(),
            bare.rounds(),
            memcpy_rate(load.size),
            own.caller().bytes_of_call()};
}

void print_rates(std::vector<Row> const& rows) {
    std::puts(
        "| Payload | Workers | tmsg, requests/s | libnats, requests/s | memcpy | Ratio |\n"
        "| --- | --- | --- | --- | --- | --- |");
    for (Row const& row : rows) {
        std::printf("| %s | %d | %.0f | %.0f | %.0f | **%.2f** |\n", row.load->title, row.workers,
                    median_of(row.own.rate), median_of(row.bare.rate), row.copies,
                    ratio(row.own.rate, row.bare.rate));
    }
}

void print_latencies(std::vector<Row> const& rows) {
    std::puts(
        "\n| Payload | Workers | tmsg, median ms | 99% | libnats, median ms | 99% | Ratio of "
        "medians |\n| --- | --- | --- | --- | --- | --- | --- |");
    for (Row const& row : rows) {
        std::printf("| %s | %d | %.3f | %.3f | %.3f | %.3f | **%.2f** |\n", row.load->title,
                    row.workers, median_of(row.own.median), median_of(row.own.slow),
                    median_of(row.bare.median), median_of(row.bare.slow),
                    ratio(row.own.median, row.bare.median));
    }
}

void print_processor_times(std::vector<Row> const& rows) {
    std::puts(
        "\n| Payload | Workers | tmsg: client, server, workers | libnats: client, server, "
        "workers |\n| --- | --- | --- | --- |");
    for (Row const& row : rows) {
        std::printf("| %s | %d | %.1f, %.1f, %.1f µs | %.1f, %.1f, %.1f µs |\n", row.load->title,
                    row.workers, median_of(row.own.client), median_of(row.own.server),
                    median_of(row.own.workers), median_of(row.bare.client),
                    median_of(row.bare.server), median_of(row.bare.workers));
    }
}

/// A microsecond for each request is a core for a million requests a second.
void print_calculation(Row const& row) {
    // A caller and its worker have the same one of three servers in one case of three. Else two
    // servers pass each message on.
    constexpr double passes = 1 + 2.0 / 3;
    constexpr double bytes_of_subjects = 2 * 80;
    double const cores[] = {median_of(row.own.client), median_of(row.own.server) * passes,
                            median_of(row.own.workers)};
    static char const* const names[] = {"callers", "servers", "workers"};
    auto const worst = std::max_element(std::begin(cores), std::end(cores)) - std::begin(cores);
    double const gigabits = (row.bytes + bytes_of_subjects) * 8e-3;
    std::printf("\nA million requests a second (%s, %d workers):\n\n", row.load->title,
                row.workers);
    std::puts("| What | How much |\n| --- | --- |");
    std::printf("| callers | %.0f cores, in at least %.0f connections |\n", cores[0],
                std::ceil(1e6 / median_of(row.own.rate)));
    std::printf("| three servers | %.0f cores in all |\n| workers | %.0f cores |\n", cores[1],
                cores[2]);
    std::printf("| network of callers, and of workers | %.1f Gbit/s, both directions together |\n",
                gigabits);
    std::printf("| network of all servers | %.1f Gbit/s in, and as much out |\n",
                gigabits * passes);
    std::printf("| bottleneck | the processors of the %s |\n", names[worst]);
}

[[noreturn]] void work_until_killed() {
    (void)!::write(STDOUT_FILENO, "1", 1);
    while (true) ::pause();
}

void serve(std::string const& kind, std::string const& url, std::string const& subject,
           bool send_at_once) {
    if (kind == "tmsg") {
        Tmsg_worker const worker(url, subject, send_at_once);
        work_until_killed();
    }
    Bare_connection const connection(url, send_at_once);
    serve_bare(connection.get(), subject);
    work_until_killed();
}

void measure_all(std::string const& url, pid_t server, int rounds, std::string const& payload) {
    std::vector<Row> rows;
    for (Load const& load : loads) {
        if (!payload.empty() && payload != load.title) continue;
        for (int const workers : worker_counts) {
            std::fprintf(stderr, "%s, %d workers\n", load.title, workers);
            rows.push_back(measure(load, workers, url, server, rounds));
        }
    }
    print_rates(rows);
    print_latencies(rows);
    print_processor_times(rows);
    if (payload.empty()) print_calculation(rows.back());
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> const words(argv + 1, argv + argc);
    try {
        if (words.size() == 5 && words[0] == "serve") {
            serve(words[1], words[2], words[3], words[4] == "1");
        } else if (words.size() == 3 || words.size() == 4) {
            measure_all(words[0], std::stoi(words[1]), std::stoi(words[2]),
                        words.size() == 4 ? words[3] : "");
        } else {
            std::fputs("usage: nats_echo URL SERVER_PROCESS ROUNDS [PAYLOAD]\n", stderr);
            return 2;
        }
        return 0;
    } catch (std::exception const& error) {
        std::fprintf(stderr, "nats_echo: %s\n", error.what());
        return 1;
    }
}
