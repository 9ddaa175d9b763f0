/// `tmsg serve` under many clients at once.
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <limits>
#include <thread>

#include "support/support.h"

namespace {

/// In KiB; large under a sanitizer, which takes memory of its own.
#ifdef __SANITIZE_ADDRESS__
constexpr long most_growth = std::numeric_limits<long>::max();
#else
constexpr long most_growth = 32000;
#endif

using Clock = std::chrono::steady_clock;

/// Even on a busy machine only a server that never answers takes so long.
constexpr std::chrono::seconds patience{20};
using namespace std::chrono_literals;

/// A server of its own, and what it prints.
class Served {
public:
    explicit Served(std::vector<std::string> const& options, rlim_t descriptors = 0) {
        int out[2];
        if (::pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
        std::vector<std::string> words = {PROGRAM, "serve"};
        words.insert(words.end(), options.begin(), options.end());
        std::vector<char*> arguments;
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        process_ = ::fork();
        if (process_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            rlimit const limit = {descriptors, descriptors};
            if (descriptors != 0) ::setrlimit(RLIMIT_NOFILE, &limit);
            ::dup2(out[1], STDOUT_FILENO);
            ::execv(PROGRAM, arguments.data());
            ::_exit(127);
        }
        ::close(out[1]);
        out_ = out[0];
        for (char c = 0; ::read(out_, &c, 1) == 1 && c != '\n';) port_ = port_ * 10 + (c - '0');
        reader_ = std::thread([this] {
            std::vector<char> block(1 << 16);
            for (ssize_t got = 0; (got = ::read(out_, block.data(), block.size())) > 0;) printed_ += got;
        });
    }
    ~Served() {
        end();
        ::close(out_);
    }

    void send(int number) const { ::kill(process_, number); }
    /// Ends the server and returns how many bytes it has printed.
    ssize_t end() {
        if (!reader_.joinable()) return printed_;
        send(SIGTERM);
        int status = 0;
        ::waitpid(process_, &status, 0);
        EXPECT_EQ(0, status);
        reader_.join();
        return printed_;
    }
    int port() const { return port_; }
    long descriptors() const {
        auto const folder = std::filesystem::directory_iterator("/proc/" + std::to_string(process_) + "/fd");
        return std::distance(begin(folder), std::filesystem::directory_iterator());
    }
    /// The largest size of its memory so far, in KiB.
    long most_memory() const {
        std::ifstream status("/proc/" + std::to_string(process_) + "/status");
        for (std::string word; status >> word;) {
            long size = 0;
            if (word == "VmHWM:" && status >> size) return size;
        }
        return 0;
    }

private:
    pid_t process_ = 0;
    int out_ = -1;
    int port_ = 0;
    std::thread reader_;
    ssize_t printed_ = 0;
};

class Caller {
public:
    /// Connects, on demand with a small buffer for received bytes.
    explicit Caller(Served const& server, bool is_slow = false)
        : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        int const room = 4096;
        if (is_slow) ::setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
        timeval const most = {patience.count(), 0};
        ::setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &most, sizeof most);  // for connecting too
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(server.port()));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        is_connected_ = ::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    Caller(Caller&& other) noexcept : socket_(std::exchange(other.socket_, -1)), is_connected_(other.is_connected_) {}
    ~Caller() {
        if (socket_ >= 0) ::close(socket_);
    }

    bool is_connected() const { return is_connected_; }
    bool send(Bytes const& bytes) {
        return ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
    }
    void send_no_more() { ::shutdown(socket_, SHUT_WR); }
    /// True when bytes, or the end of the stream, come in time.
    bool is_ready(std::chrono::milliseconds time) const {
        pollfd handle = {socket_, POLLIN, 0};
        return ::poll(&handle, 1, static_cast<int>(time.count())) == 1;
    }
    /// Returns how many bytes of an answer come within the time.
    std::size_t receive(std::chrono::milliseconds time, std::size_t wanted = 1) {
        std::size_t received = 0;
        auto const end = Clock::now() + time;
        while (received < wanted) {
            char block[1 << 16];
            auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
            if (!is_ready(std::max(left, 0ms))) break;
            ssize_t const got = ::recv(socket_, block, sizeof block, 0);
            if (got <= 0) break;
            received += static_cast<std::size_t>(got);
        }
        return received;
    }
    bool is_answered(Bytes const& request) { return send(request) && receive(patience) > 0; }
    /// True when the server has closed the connection, or does so in time.
    bool is_closed() { return is_ready(patience) && receive(0ms) == 0; }

private:
    int socket_;
    bool is_connected_ = false;
};

Bytes join(std::vector<Bytes> const& chunks) {
    Bytes all;
    for (Bytes const& chunk : chunks) all.insert(all.end(), chunk.begin(), chunk.end());
    return all;
}

/// A request with that many bytes in its body.
Bytes request_of(std::size_t size) {
    auto const message = make_message(Message::TMT_REQUEST, "f");
    std::string const bytes = pattern(size);
    Tm_binary const data(reinterpret_cast<unsigned char const*>(bytes.data()), static_cast<unsigned int>(size));
    message->add_member(body, "data", &data);
    return join(chunks_of(*message, 1, 4096));
}

std::vector<Caller> connect(Served const& server, std::size_t count) {
    std::vector<Caller> callers;
    for (std::size_t i = 0; i < count; ++i) callers.emplace_back(server);
    return callers;
}

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
    Served const server({"--port", "0", "--delay", "300", "--to", "json", "--max-text", "100"});
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
    EXPECT_GE(Clock::now() - begin, 300ms);
    EXPECT_LT(Clock::now() - begin, 900ms) << "the replies wait at the same time";
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
