/// A running program `tmsg` and its clients, for the tests of the verbs that listen.
#pragma once

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
#include <mutex>
#include <string>
#include <thread>

#include "support/support.h"

/// In KiB; large under a sanitizer, which takes memory of its own.
#ifdef __SANITIZE_ADDRESS__
inline constexpr long most_growth = std::numeric_limits<long>::max();
#else
inline constexpr long most_growth = 32000;
#endif

using Clock = std::chrono::steady_clock;

/// Even on a busy machine only a server that never answers takes so long.
inline constexpr std::chrono::seconds patience{20};
/// A program that listens on a free port, and what it prints.
class Listening_program {
public:
    Listening_program(std::string const& verb, std::vector<std::string> const& options, rlim_t descriptors = 0) {
        int out[2];
        if (::pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
        std::vector<std::string> words = {PROGRAM, verb};
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
            for (ssize_t got = 0; (got = ::read(out_, block.data(), block.size())) > 0;) {
                printed_ += got;
                std::lock_guard<std::mutex> const lock(mutex_);
                if (text_.size() < longest_text) text_.append(block.data(), static_cast<std::size_t>(got));
            }
        });
    }
    ~Listening_program() {
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
    pid_t process() const { return process_; }
    /// What it has printed so far, except for the end of a very long text.
    std::string text() {
        std::lock_guard<std::mutex> const lock(mutex_);
        return text_;
    }
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
    static constexpr std::size_t longest_text = 1 << 20;

    pid_t process_ = 0;
    int out_ = -1;
    int port_ = 0;
    std::thread reader_;
    ssize_t printed_ = 0;
    std::mutex mutex_;
    std::string text_;
};

struct Served : Listening_program {
    explicit Served(std::vector<std::string> const& options, rlim_t descriptors = 0)
        : Listening_program("serve", options, descriptors) {}
};

class Caller {
public:
    /// Connects, on demand with a small buffer for received bytes.
    explicit Caller(Listening_program const& server, bool is_slow = false)
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
    explicit Caller(int socket) : socket_(socket), is_connected_(socket >= 0) {}
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
            if (!is_ready(std::max(left, std::chrono::milliseconds(0)))) break;
            ssize_t const got = ::recv(socket_, block, sizeof block, 0);
            if (got <= 0) break;
            received += static_cast<std::size_t>(got);
        }
        return received;
    }
    /// Returns what comes before the end of the stream.
    Bytes receive_all() const {
        Bytes all;
        std::vector<unsigned char> block(1 << 16);
        for (ssize_t got = 1; got > 0 && is_ready(patience);) {
            got = ::recv(socket_, block.data(), block.size(), 0);
            if (got > 0) all.insert(all.end(), block.begin(), block.begin() + got);
        }
        return all;
    }
    bool is_answered(Bytes const& request) { return send(request) && receive(patience) > 0; }
    /// True when the server has closed the connection, or does so in time.
    bool is_closed() { return is_ready(patience) && receive(std::chrono::milliseconds(0)) == 0; }

private:
    int socket_;
    bool is_connected_ = false;
};

inline Bytes join(std::vector<Bytes> const& chunks) {
    Bytes all;
    for (Bytes const& chunk : chunks) all.insert(all.end(), chunk.begin(), chunk.end());
    return all;
}

/// A request with that many bytes in its body.
inline Bytes request_of(std::size_t size) {
    auto const message = make_message(Message::TMT_REQUEST, "f");
    std::string const bytes = pattern(size);
    Tm_binary const data(reinterpret_cast<unsigned char const*>(bytes.data()), static_cast<unsigned int>(size));
    message->add_member(body, "data", &data);
    return join(chunks_of(*message, 1, 4096));
}

inline std::vector<Caller> connect(Listening_program const& server, std::size_t count) {
    std::vector<Caller> callers;
    for (std::size_t i = 0; i < count; ++i) callers.emplace_back(server);
    return callers;
}
