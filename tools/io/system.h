/// Handles system calls that fail, signals and descriptors.
#pragma once

#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

/// Ends the program with a line on standard error, unless it is caught.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;

    /// Returns a failure with the text "WHAT: ERROR". ERROR is the system's text for errno.
    static Failure of_system(std::string const& what);
};

/// A command line that asks for what cannot be done.
class Bad_usage : public Failure {
public:
    using Failure::Failure;
};

/// Returns the text of the error. Returns "out of memory" for std::bad_alloc.
char const* text_of(std::exception const& error);

// SIGINT, SIGTERM and SIGHUP end the program only after it has cleaned up. A system call that
// blocks fails with EINTR, and its caller calls throw_if_interrupted().

/// Unwinds the stack after a signal. main() then calls end_by_interrupt().
struct Interrupted {};

void watch_interrupts();
bool is_interrupted();
void throw_if_interrupted();

/// Blocks the signals while it lives. Make one before is_interrupted() and a wait with before(),
/// which lets signals in. So no signal is missed between the question and the wait.
class Blocked_signals {
public:
    Blocked_signals();
    ~Blocked_signals() { ::sigprocmask(SIG_SETMASK, &before_, nullptr); }
    Blocked_signals(Blocked_signals const&) = delete;
    Blocked_signals& operator=(Blocked_signals const&) = delete;

    /// Returns the signal mask from before, which ppoll() uses while it waits.
    sigset_t const& before() const { return before_; }

private:
    sigset_t before_;
};

/// Ends the process by the signal that came, as the signal does by default.
[[noreturn]] void end_by_interrupt();

/// Owns a descriptor that the program opened. above_standard() makes sure that it is not 0, 1 or 2,
/// also when the program was started without standard input, output and error. Otherwise output for
/// these would go into a file or a socket.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor();

    int get() const { return number_; }
    int release() { return std::exchange(number_, -1); }

private:
    int number_ = -1;
};

/// Returns a descriptor above 2 of the same file or socket. Closes the given descriptor if it is 0,
/// 1 or 2. Throws Failure when there is no descriptor left.
Descriptor above_standard(Descriptor descriptor);

/// Does the same for an ACE socket that has just been opened.
template <class Socket>
void move_above_standard(Socket& socket) {
    Descriptor descriptor(socket.get_handle());
    socket.set_handle(-1);
    socket.set_handle(above_standard(std::move(descriptor)).release());
}

struct File_closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using Temporary_file = std::unique_ptr<std::FILE, File_closer>;

/// Opens a new file without a name for writing and reading. Throws Failure.
Temporary_file open_temporary_file();
