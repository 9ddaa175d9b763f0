/// Handles errors of the system, signals and descriptors.
#include "io/system.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <initializer_list>
#include <new>
#include <system_error>

namespace {

volatile std::sig_atomic_t caught = 0;

extern "C" void on_signal(int number) { caught = number; }

}  // namespace

Failure Failure::of_system(std::string const& what) {
    return Failure(what + ": " + std::generic_category().message(errno));
}

char const* text_of(std::exception const& error) {
    bool const is_memory = dynamic_cast<std::bad_alloc const*>(&error) != nullptr;
    return is_memory ? "out of memory" : error.what();
}

void watch_interrupts() {
    struct sigaction action = {};
    action.sa_handler = on_signal;
    for (int const number : {SIGINT, SIGTERM, SIGHUP}) ::sigaction(number, &action, nullptr);
}

bool is_interrupted() { return caught != 0; }

void throw_if_interrupted() {
    if (is_interrupted()) throw Interrupted();
}

Blocked_signals::Blocked_signals() {
    sigset_t blocked;
    sigemptyset(&blocked);
    for (int const number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&blocked, number);
    ::sigprocmask(SIG_BLOCK, &blocked, &before_);
}

void end_by_interrupt() {
    std::signal(caught, SIG_DFL);
    std::raise(caught);
    std::abort();
}

Descriptor::~Descriptor() {
    if (number_ >= 0) ::close(number_);
}

Descriptor above_standard(Descriptor descriptor) {
    if (descriptor.get() > STDERR_FILENO) return descriptor;
    Descriptor moved(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (moved.get() < 0) throw Failure::of_system("failed to move a descriptor");
    return moved;
}

Temporary_file open_temporary_file() {
    constexpr char const* failed = "failed to make a temporary file";
    Temporary_file file(std::tmpfile());
    if (!file) throw Failure::of_system(failed);
    if (::fileno(file.get()) > STDERR_FILENO) return file;
    Descriptor moved(::fcntl(::fileno(file.get()), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (moved.get() >= 0) file.reset(::fdopen(moved.get(), "w+b"));
    if (moved.get() < 0 || !file) throw Failure::of_system(failed);
    moved.release();
    return file;
}
