/// Calls over a real nats-server while a worker, a client, the server or a disk fails.
#include <malloc.h>

#include <random>

#include "nats_support.h"

namespace {

char const small_payloads[] = "max_payload: 20000\n";

/// Runs the peer in a child process.
Process run_peer(std::vector<std::string> const& words, int out = -1) {
    return Process([&] {
        if (out >= 0) ::dup2(out, STDOUT_FILENO);
        std::vector<char*> arguments;
        for (std::string const& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        ::execvp(arguments[0], arguments.data());
    });
}

/// A worker in a process of its own, ready to work.
Process run_worker(Nats_server const& server, std::vector<std::string> words = {PEER}) {
    int out[2];
    if (::pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
    for (std::string const& word : {std::string("worker"), server.url(), std::string("test")}) words.push_back(word);
    Process worker = run_peer(words, out[1]);
    ::close(out[1]);
    char first = 0;
    bool const is_ready = ::read(out[0], &first, 1) == 1 && first == 'r';
    ::close(out[0]);
    if (!is_ready) throw std::runtime_error("worker does not start");
    return worker;
}

void remove_files_of(Process const& process) {
    std::string const mine = "zab_tmp_" + std::to_string(process.number()) + "_";
    for (auto const& entry : std::filesystem::directory_iterator("/tmp")) {
        if (entry.path().filename().string().rfind(mine, 0) == 0) std::filesystem::remove(entry.path());
    }
}

/// Returns the allocated bytes, without freed ones that malloc() keeps.
std::size_t memory_in_use() { return ::mallinfo2().uordblks; }

bool is_back(std::size_t memory) {
    return comes_true([&] { return memory_in_use() < memory + 2'000'000; });
}

/// 400 kB are 25 chunks, with windows of two.
TEST(Nats_faults, SurvivesAWorkerKilledAtEveryWindow) {
    Nats_server const server(small_payloads);
    Tm_nats_caller caller(caller_options(server));
    Scratch const scratch;
    std::string const content = pattern(200000);
    Message const request = size_request(content, scratch.file("f", content));
    for (int position = 0; position < 25; position += 2) {
        Process worker = run_worker(server);
        Process next;
        At_chunk const kill(server, position, [&] {
            worker.send(SIGKILL);
            next = run_worker(server);
        });
        auto const answer = caller.call(request, in(patience));
        ASSERT_NE(nullptr, answer) << position;
        EXPECT_TRUE(kill.has_acted());
        EXPECT_EQ(sum_of(content), answer->get_member_uint64(body, "content"));
        EXPECT_EQ(sum_of(content), answer->get_member_uint64(body, "file"));
        remove_files_of(worker);
    }
    EXPECT_LE(12U, caller.counters().retries);
}

TEST(Nats_faults, SurvivesAWorkerKilledWhileItAnswers) {
    Nats_server const server(small_payloads);
    Tm_nats_caller caller(caller_options(server));
    remove_received_files();
    Scratch const scratch;
    std::string const content = pattern(400000);
    Message request = Message::request("test.echo");
    request.add_file(body, "file", scratch.file("f", content));
    std::size_t const before = memory_in_use();
    for (int const position : {0, 1, 8, 23}) {
        Process worker = run_worker(server);
        Process next;
        // The first chunk in this position is one of the request, and the second one is one of the answer.
        constexpr int second = 2;
        auto const replace = [&] {
            worker.send(SIGKILL);
            next = run_worker(server);
        };
        At_chunk const kill(server, position, replace, second);
        auto const answer = caller.call(request, in(patience));
        ASSERT_NE(nullptr, answer) << position;
        EXPECT_EQ(content, content_of(answer->get_member_file(body, "file")->path()));
        tm_remove_received_files(*answer);
        remove_files_of(worker);
        next.kill();
        remove_files_of(next);
    }
    EXPECT_EQ(0, remove_received_files());
    EXPECT_TRUE(is_back(before));
}

TEST(Nats_faults, DropsWhatAKilledClientBegan) {
    Nats_server const server(small_payloads);
    auto options = service_options(server);
    options.max_transfers = 1;
    Running_service service(options);
    Tm_nats_caller caller(caller_options(server));
    EXPECT_TRUE(is_echoed(caller, pattern(500000)));
    Scratch const scratch;
    std::string const path = scratch.file("f", pattern(200000));
    remove_received_files();
    std::size_t const before = memory_in_use();
    for (std::string const mode : {"client", "download"}) {
        for (int position = 0; position < 24; position += 4) {
            std::uint64_t const lost = service.counters().lost + service.counters().unused_claims;
            Process client;
            At_chunk const stop(server, position, [&] { client.send(SIGSTOP); });
            client = run_peer({PEER, mode, server.url(), "test", mode == "client" ? path : "400000"});
            EXPECT_TRUE(comes_true([&] { return stop.has_acted(); }));
            client.kill();
            EXPECT_TRUE(becomes_idle(service));
            EXPECT_GE(lost + 1, service.counters().lost + service.counters().unused_claims);
            EXPECT_EQ(0, remove_received_files()) << mode << position;
        }
    }
    EXPECT_LE(6U, service.counters().lost);
    EXPECT_TRUE(is_echoed(caller, pattern(500000)));
    EXPECT_TRUE(is_back(before));
}

/// Calls that many threads make until the object ends; all must be answered rightly.
class Load {
public:
    explicit Load(Nats_server const& server) : caller_(caller_options(server)) {
        for (int i = 0; i < 4; ++i) {
            threads_.emplace_back([this, i] {
                for (int round = 0; !is_ending_; ++round, ++calls_) {
                    if (!is_echoed(caller_, pattern(i == 0 ? 600000 : 300) + std::to_string(round))) ++wrong_;
                }
            });
        }
    }
    ~Load() { end(); }

    void end() {
        is_ending_ = true;
        for (std::thread& thread : threads_) thread.join();
        threads_.clear();
    }
    int calls() const { return calls_; }
    int wrong() const { return wrong_; }
    bool goes_on() const {
        return comes_true([this, begun = calls()] { return calls() > begun + 20; });
    }
    Tm_nats_caller const& caller() const { return caller_; }

private:
    Tm_nats_caller caller_;
    std::atomic<bool> is_ending_{false};
    std::atomic<int> calls_{0};
    std::atomic<int> wrong_{0};
    std::vector<std::thread> threads_;
};

TEST(Nats_faults, GoesOnWhenTheServerIsStartedAgain) {
    Nats_server server(small_payloads);
    Running_service one(service_options(server));
    Running_service two(service_options(server));
    Load load(server);
    for (int round = 0; round < 4; ++round) {
        EXPECT_TRUE(load.goes_on());
        server.kill();
        if (round % 2 == 1) std::this_thread::sleep_for(300ms);
        server.start();
    }
    EXPECT_TRUE(load.goes_on());
    load.end();
    EXPECT_EQ(0, load.wrong());
    EXPECT_LT(0U, load.caller().counters().retries);
    EXPECT_TRUE(comes_true([&] { return one.counters().transfers + two.counters().transfers == 0; }));
}

TEST(Nats_faults, KeepsDeadlinesWhileTheServerStandsStill) {
    Nats_server server(small_payloads);
    Running_service service(service_options(server));
    Load load(server);
    Tm_nats_caller caller(caller_options(server));
    EXPECT_TRUE(load.goes_on());
    server.send(SIGSTOP);
    auto const end = in(5s);
    std::vector<std::thread> threads;
    for (std::size_t const size : {10UL, 600000UL}) {
        threads.emplace_back([&, size] {
            while (Clock::now() < end - 1s) {
                auto const deadline = in(300ms);
                std::string why;
                EXPECT_EQ(nullptr, caller.call(echo_request(pattern(size)), deadline, &why));
                EXPECT_GT(deadline + caller_options(server).write_timeout + slack, Clock::now());
                EXPECT_NE("", why);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    std::this_thread::sleep_until(end);
    server.send(SIGCONT);
    EXPECT_TRUE(load.goes_on());
    load.end();
    EXPECT_EQ(0, load.wrong());
    EXPECT_TRUE(is_echoed(caller, pattern(600000)));
    EXPECT_EQ(0U, caller.waiting());
}

/// Then libnats tries to connect again and again, each time until its time limit.
TEST(Nats_faults, KeepsDeadlinesWhileTheConnectionIsLost) {
    Nats_server const server(small_payloads);
    Running_service service(service_options(server));
    Nats_server const second;
    auto options = caller_options(server);
    options.ping_interval = 100ms;
    Tm_nats_caller caller(options);
    EXPECT_TRUE(is_echoed(caller, "before"));
    server.send(SIGSTOP);
    EXPECT_TRUE(comes_true([&] { return !caller.is_connected(); }));
    auto const end = in(3s);
    while (Clock::now() < end) {
        auto const deadline = in(100ms);
        std::string why;
        EXPECT_EQ(nullptr, caller.call(echo_request(""), deadline, &why));
        EXPECT_EQ("not connected", why);
        EXPECT_GT(deadline + slack, Clock::now());
    }
    EXPECT_EQ(0U, caller.counters().retries);
    Running_service other(service_options(second));
    second.send(SIGSTOP);
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(other.drain(100ms));
    server.send(SIGCONT);
    EXPECT_TRUE(is_echoed(caller, "after"));
}

TEST(Nats_faults, WaitsForAWorkerUntilTheDeadline) {
    Nats_server const server(small_payloads);
    Tm_nats_caller caller(caller_options(server));
    for (std::size_t const size : {10UL, 3000000UL}) {
        auto const deadline = in(400ms);
        std::string why;
        EXPECT_EQ(nullptr, caller.call(echo_request(pattern(size)), deadline, &why));
        EXPECT_EQ("no service at test", why);
        EXPECT_LE(deadline, Clock::now());
        EXPECT_GT(deadline + slack, Clock::now());
    }
    auto few = caller_options(server);
    few.max_tries = 3;
    Tm_nats_caller impatient(few);
    std::string why;
    EXPECT_EQ(nullptr, impatient.call(echo_request(""), in(patience), &why));
    EXPECT_EQ("no service at test", why);
    EXPECT_EQ(2U, impatient.counters().retries);
    EXPECT_EQ(1U, impatient.counters().unanswered);
    std::thread late([&] {
        std::this_thread::sleep_for(300ms);
        Running_service service(service_options(server));
        EXPECT_TRUE(comes_true([&] { return service.counters().answered > 0; }));
    });
    EXPECT_TRUE(is_echoed(caller, "at last"));
    late.join();
}

/// The worker's /tmp is a small disk that only it sees. Where none may be made, there is no test.
TEST(Nats_faults, AsksAnotherWorkerWhenADiskIsFull) {
    if (std::system("unshare -rm true 2>/dev/null") != 0) GTEST_SKIP();
    Nats_server const server(small_payloads);
    // The worker is still seen when the build is below /tmp.
    std::string const hide =
        "mount --bind \"$1\" /mnt && mount -t tmpfs -o size=300k none /tmp && mkdir -p \"$1\" && "
        "mount --bind /mnt \"$1\" && shift && exec \"$@\"";
    Process const full = run_worker(server, {"unshare", "-rm", "sh", "-c", hide, "sh", BUILD_FOLDER, PEER});
    Tm_nats_caller caller(caller_options(server));
    Scratch const scratch;
    std::string const content = pattern(3000000);
    Message const request = size_request("blob", scratch.file("f", content));
    std::string why;
    EXPECT_EQ(nullptr, caller.call(request, in(1s), &why));
    EXPECT_EQ(0U, why.find("refused: failed to write to /tmp/zab_tmp_")) << why;
    EXPECT_TRUE(is_echoed(caller, "the worker works on"));
    Running_service other(service_options(server));
    auto const answer = caller.call(request, in(patience));
    ASSERT_NE(nullptr, answer);
    EXPECT_EQ(sum_of(content), answer->get_member_uint64(body, "file"));
}

/// Garbage of many kinds at the subject, and at every inbox that goes by.
TEST(Nats_faults, IgnoresAStranger) {
    Nats_server const server(small_payloads);
    Running_service service(service_options(server));
    Load load(server);
    std::minstd_rand random(1);
    Stranger stranger(server);
    std::mutex mutex;
    std::string inbox;
    Stranger tap(server);
    tap.listen("_INBOX.>", [&](Stranger::Seen const& seen) {
        std::lock_guard<std::mutex> const lock(mutex);
        inbox = seen.subject;
    });
    ASSERT_TRUE(comes_true([&] {
        std::lock_guard<std::mutex> const lock(mutex);
        return !inbox.empty();
    }));
    std::string const whole = tm_to_chunks(Message::request("test.none"), 5, 1000);
    std::string const chunk = tm_to_chunks(echo_request(pattern(3000)), 5, 1000).substr(0, 1008);
    std::string const claim("N\1\1\0\0\0\0\0", 8);
    std::string const credit("N\1\2\0\0\1\0\0", 8);
    Names const payloads = {"",    "x",   std::string(8, '\0'), std::string(100, 'N'), whole, whole + "x", chunk,
                            claim, credit};
    for (int i = 0; i < 4000; ++i) {
        std::string payload = payloads[random() % payloads.size()];
        if (!payload.empty() && random() % 2 == 0) payload[random() % payload.size()] ^= static_cast<char>(random());
        std::unique_lock<std::mutex> lock(mutex);
        std::string const seen = inbox;
        lock.unlock();
        // The payloads that end a transfer are commands; who may publish them is up to the server.
        bool const is_command = payload.size() >= 8 && payload[0] == 'N' && payload[2] == 4;
        if (i % 3 == 0) {
            stranger.publish("test", payload);
        } else if (!is_command) {
            stranger.publish(i % 3 == 1 ? seen : seen + ".0", payload);
        }
        if (i % 100 == 0) stranger.flush();
    }
    stranger.flush();
    EXPECT_TRUE(load.goes_on());
    load.end();
    EXPECT_EQ(0, load.wrong());
    EXPECT_TRUE(becomes_idle(service));
    auto const served = service.counters();
    EXPECT_LT(500U, served.bad_payloads);
    EXPECT_LT(0U, served.unused_claims);
    EXPECT_TRUE(comes_true([&] { return load.caller().counters().bad_payloads > 0; }));
}

/// One caller loses a chunk, another one repeats a chunk, and a third one says nothing after its claim.
TEST(Nats_faults, RefusesGapsAndUnusedClaims) {
    Nats_server const server(small_payloads);
    auto options = service_options(server);
    options.max_transfers = 2;
    Running_service service(options);
    Stranger caller(server);
    std::mutex mutex;
    std::vector<Stranger::Seen> seen;
    auto const count = [&] {
        std::lock_guard<std::mutex> const lock(mutex);
        return seen.size();
    };
    caller.listen("_INBOX.me.>", [&](Stranger::Seen const& one) {
        std::lock_guard<std::mutex> const lock(mutex);
        seen.push_back(one);
    });
    std::string const claim("N\1\1\0\0\0\0\0", 8);
    std::string const chunks = tm_to_chunks(echo_request(pattern(2500)), 7, 1000);
    auto const send = [&](std::size_t number, std::size_t position) {
        std::string const chunk = chunks.substr(position * 1008, 1008);
        caller.publish(seen[number].reply + "." + std::to_string(position), chunk, "_INBOX.me.7");
    };
    caller.publish("test", claim, "_INBOX.me.7");
    ASSERT_TRUE(comes_true([&] { return count() == 1; }));
    EXPECT_EQ(std::string("N\1\2\0\0\0\0\2", 8), seen[0].payload);
    send(0, 1);
    ASSERT_TRUE(comes_true([&] { return count() == 2; }));
    EXPECT_EQ(std::string("N\1\4\0\0\0\0\0a chunk is lost", 23), seen[1].payload);
    caller.publish("test", claim, "_INBOX.me.7");
    ASSERT_TRUE(comes_true([&] { return count() == 3; }));
    for (std::size_t const position : {0UL, 0UL, 1UL, 0UL, 2UL}) send(2, position);
    // Two credits, and then the answer.
    ASSERT_TRUE(comes_true([&] { return count() == 6; }));
    EXPECT_EQ(Message::TMT_RESPONSE, tm_from_bytes(std::string_view(seen[5].payload).substr(8))->get_msg_type());
    EXPECT_EQ(2U, service.counters().bad_payloads);
    EXPECT_EQ(1U, service.counters().lost);
    for (int i = 0; i < 3; ++i) caller.publish("test", claim, "_INBOX.me.7");
    ASSERT_TRUE(comes_true([&] { return service.counters().unused_claims == 2; }));
    EXPECT_EQ(0U, service.counters().transfers);
    ASSERT_TRUE(comes_true([&] { return count() == 11; }));
    EXPECT_EQ("too many large requests", seen[8].payload.substr(8));
    EXPECT_EQ("silent", seen[10].payload.substr(8));
}

}  // namespace
