/// A nats-server of a test, at a free port of the loopback, and processes that end with the test.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/support.h"

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

/// A child process, killed at the end of its object.
class Process {
public:
    Process() = default;
    /// Runs the function in the child, which must not return to the test.
    explicit Process(std::function<void()> const& run) {
        pid_t const process = ::fork();
        if (process < 0) throw std::runtime_error("fork");
        if (process > 0) {
            number_ = process;
            return;
        }
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        run();
        ::_exit(127);
    }
    Process(Process&& other) noexcept : number_(other.number_.exchange(0)) {}
    Process& operator=(Process&& other) noexcept {
        kill();
        number_ = other.number_.exchange(0);
        return *this;
    }
    ~Process() { kill(); }

    /// Any thread may send a signal. It waits until there is a process, and until SIGSTOP has stopped
    /// its threads.
    void send(int number) const {
        while (number_ == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ::kill(number_, number);
        siginfo_t ignored;
        if (number == SIGSTOP) ::waitid(P_PID, static_cast<id_t>(number_.load()), &ignored, WSTOPPED);
    }
    void kill() {
        pid_t const process = number_.exchange(0);
        if (process == 0) return;
        ::kill(process, SIGKILL);
        ::waitpid(process, nullptr, 0);
    }
    pid_t number() const { return number_; }

private:
    std::atomic<pid_t> number_{0};
};

inline sockaddr_in loopback(int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

inline int free_port() {
    int const socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    ::bind(socket, reinterpret_cast<sockaddr*>(&address), size);
    ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
    ::close(socket);
    return ntohs(address.sin_port);
}

class Nats_server {
public:
    /// The text is a configuration of nats-server, apart from the address.
    explicit Nats_server(std::string const& configuration = "") : port_(free_port()) {
        file_ = scratch_.file("nats.conf", "host: 127.0.0.1\nport: " + std::to_string(port_) + "\n" + configuration);
        start();
    }

    void start() {
        process_ = Process([this] {
            int const nowhere = ::open("/dev/null", O_RDWR);
            for (int const descriptor : {0, 1, 2}) ::dup2(nowhere, descriptor);
            ::execl(NATS_SERVER, "nats-server", "-c", file_.c_str(), static_cast<char*>(nullptr));
        });
        auto const end = Clock::now() + 20s;
        while (!is_listening()) {
            if (Clock::now() > end) throw std::runtime_error("nats-server does not start");
            std::this_thread::sleep_for(10ms);
        }
    }
    void kill() { process_.kill(); }
    void send(int number) const { process_.send(number); }
    std::string url() const { return "nats://127.0.0.1:" + std::to_string(port_); }

private:
    bool is_listening() const {
        int const socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in const address = loopback(port_);
        bool const is_there = ::connect(socket, reinterpret_cast<sockaddr const*>(&address), sizeof address) == 0;
        ::close(socket);
        return is_there;
    }

    Scratch scratch_;
    int port_;
    std::string file_;
    Process process_;
};
