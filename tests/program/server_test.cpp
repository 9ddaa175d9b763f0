/// `tmsg serve` under many clients at once.
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "program/program.h"

namespace {

using namespace std::chrono_literals;

/// Returns how many connections a process may have, up to 5,000.
std::size_t many() {
    rlimit limit = {};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    return std::min<std::size_t>(5000, limit.rlim_cur - 100);
}

TEST(Server, AnswersBesideIdleAndSlowClients) {
    Served server({"--port", "0", "--to", "json", "--max-text", "100"});
    Bytes const request = request_of(10);
    auto const idle = connect(server, many());
    Bytes const half(request.begin(), request.begin() + static_cast<std::ptrdiff_t>(request.size() / 2));
    auto slow = connect(server, 20);
    for (Caller& caller : slow) ASSERT_TRUE(caller.send(half));
    Bytes const large = request_of(8000000);
    std::vector<Caller> deaf;
    for (int i = 0; i < 3; ++i) deaf.emplace_back(server, true);
    for (Caller& caller : deaf) EXPECT_TRUE(caller.send(large));
    for (int i = 0; i < 3; ++i) {
        Caller good(server);
        EXPECT_TRUE(good.is_answered(request));
    }
    std::this_thread::sleep_for(100ms);  // until the good ones are gone
    auto const serving = server.descriptors();
    auto const end = Clock::now() + patience;
    while (server.descriptors() > serving - 3 && Clock::now() < end) std::this_thread::sleep_for(50ms);
    EXPECT_EQ(serving - 3, server.descriptors()) << "the deaf ones are dropped, nobody else is";
}

TEST(Server, ClosesIdleConnectionsInTime) {
    Served const server({"--port", "0", "--idle", "1"});
    Bytes const request = request_of(10);
    Caller idle(server);
    Caller unfinished(server);
    Caller busy(server);
    EXPECT_TRUE(unfinished.send({request.begin(), request.end() - 1}));
    for (int i = 0; i < 15; ++i) {
        EXPECT_TRUE(busy.is_answered(request)) << i;
        EXPECT_TRUE(i != 1 || !idle.is_ready(0ms)) << "too early";
        std::this_thread::sleep_for(100ms);
    }
    EXPECT_TRUE(idle.is_closed());
    EXPECT_TRUE(unfinished.is_closed());
    EXPECT_TRUE(busy.is_closed());
}

TEST(Server, SendsDelayedRepliesInTheirTimeAlsoToAClientThatSendsNoMore) {
    Served const server({"--port", "0", "--delay", "500", "--to", "json", "--max-text", "100"});
    Bytes const request = request_of(10);
    Bytes const large = request_of(3000000);
    Caller caller(server);
    Caller loaded(server);
    auto const begin = Clock::now();
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(caller.send(request));
    std::thread sender([&] { EXPECT_TRUE(loaded.send(large) && loaded.send(large)); });
    caller.send_no_more();
    std::size_t const replies = caller.receive(patience, 3 * request.size());
    EXPECT_GT(replies, 2 * request.size());
    EXPECT_GE(Clock::now() - begin, 500ms);
    EXPECT_LT(Clock::now() - begin, 1400ms) << "the replies wait at the same time";
    EXPECT_TRUE(caller.is_closed());
    EXPECT_GT(loaded.receive(patience, 6000000), 5900000U);
    sender.join();
}

TEST(Server, ClosesTheOneIdleLongestWhenPlacesAreShort) {
    Served const server({"--port", "0"}, 64);
    Bytes const request = request_of(10);
    Caller busy(server);
    EXPECT_TRUE(busy.is_answered(request));
    auto idle = connect(server, 20);
    EXPECT_TRUE(busy.is_answered(request));
    auto more = connect(server, 20);
    EXPECT_TRUE(busy.is_answered(request)) << "was active after the first 20";
    EXPECT_TRUE(idle.front().is_closed());
    for (Caller& caller : more) EXPECT_FALSE(caller.is_ready(0ms));
    auto const flood = connect(server, 200);
    EXPECT_TRUE(Caller(server).is_answered(request));
}

TEST(Server, HasRoomForABurstOfConnections) {
    constexpr std::size_t count = 1000;
    int most = 0;
    std::ifstream("/proc/sys/net/core/somaxconn") >> most;
    if (most < 1100 || many() < count) GTEST_SKIP() << "the system does not allow so many";
    Served const server({"--port", "0", "--to", "json", "--max-text", "100"});
    Bytes const request = request_of(10);
    server.send(SIGSTOP);
    auto const begin = Clock::now();
    auto burst = connect(server, count);
    EXPECT_LT(Clock::now() - begin, 1s);
    for (Caller& caller : burst) ASSERT_TRUE(caller.is_connected() && caller.send(request));
    server.send(SIGCONT);
    for (Caller& caller : burst) ASSERT_GT(caller.receive(patience), 0U);
}

/// Each of many structs in an array names its member by index, and the name is long.
TEST(Server, HoldsNoTextHoweverLongItGets) {
    constexpr std::size_t name_length = 60000;
    constexpr std::size_t count = 4000;
    auto const message = make_message(Message::TMT_RESPONSE);
    Tm_struct member(nullptr);
    member.add_member(std::string(name_length, 'n'), 1);
    Tm_array list;
    for (std::size_t i = 0; i < count; ++i) list.add_member(&member);
    message->add_member(body, "list", &list);
    ASSERT_TRUE(message->index_member_names());
    Bytes const bytes = join(chunks_of(*message, 1, 4096));
    EXPECT_LT(bytes.size(), 200000U);
    for (char const* const form : {"json", "tcl", "xml"}) {
        Served server({"--port", "0", "--to", form});
        Caller caller(server);
        EXPECT_TRUE(caller.is_answered(request_of(10)));
        long const before = server.most_memory();
        EXPECT_TRUE(caller.send(bytes) && caller.is_answered(request_of(10)));
        EXPECT_LT(server.most_memory() - before, most_growth) << form;
        EXPECT_GT(server.end(), static_cast<ssize_t>(name_length * count)) << form;
    }
    for (char const* const form : {"json", "tcl", "xml", "dump"}) {
        Served server({"--port", "0", "--to", form, "--max-text", "1000000"});
        Caller caller(server);
        EXPECT_TRUE(caller.send(bytes) && caller.is_answered(request_of(10))) << form;
        EXPECT_LT(server.end(), 1100000) << form;
    }
}

}  // namespace
