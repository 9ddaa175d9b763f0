/// Waits with descriptors for events and signals.
#include "nats/waiting.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cstdint>
#include <vector>

#include "net/poll.h"

namespace {

Descriptor open_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (int const number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, number);
    Descriptor handle(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (handle.get() < 0) throw Failure::of_system("failed to wait for signals");
    return above_standard(std::move(handle));
}

}  // namespace

void hold_standard_descriptors() {
    int last = 0;
    // A descriptor of O_PATH can be neither read nor written.
    while ((last = ::open("/dev/null", O_PATH | O_CLOEXEC)) >= 0 && last <= STDERR_FILENO) continue;
    if (last >= 0) ::close(last);
}

Wake::Wake() : handle_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (handle_.get() < 0) throw Failure::of_system("failed to make an event");
    handle_ = above_standard(std::move(handle_));
}

void Wake::set() const noexcept {
    std::uint64_t const one = 1;
    // It fails only when it is set very often already.
    [[maybe_unused]] ssize_t const done = ::write(handle(), &one, sizeof one);
}

bool Wake::wait(std::chrono::nanoseconds longest) const {
    std::vector<pollfd> handles = {{handle(), POLLIN, 0}};
    if (!wait_for(handles, longest)) return false;
    std::uint64_t count = 0;
    [[maybe_unused]] ssize_t const got = ::read(handle(), &count, sizeof count);
    return true;
}

Stop::Stop() : blocked_(std::in_place), signals_(open_signals()) {}

void Stop::fail(std::exception_ptr failure) {
    std::lock_guard<std::mutex> const lock(mutex_);
    if (failure_ == nullptr) failure_ = std::move(failure);
    failed_.set();
}

void Stop::wait() {
    std::vector<pollfd> handles = {{signals_.get(), POLLIN, 0}, {failed_.handle(), POLLIN, 0}};
    bool must_end = false;
    while (!must_end) {
        bool const is_signalled = !wait_for(handles, long_time);
        must_end = is_signalled || handles[0].revents != 0 || handles[1].revents != 0;
    }
    // A signal that was taken does not come again when signals are let in. A further one ends the
    // process at once.
    signalfd_siginfo taken = {};
    [[maybe_unused]] ssize_t const got = ::read(signals_.get(), &taken, sizeof taken);
    for (int const number : {SIGINT, SIGTERM, SIGHUP}) std::signal(number, SIG_DFL);
    blocked_.reset();
    check();
}

void Stop::check() {
    std::lock_guard<std::mutex> const lock(mutex_);
    if (failure_ != nullptr) std::rethrow_exception(failure_);
}
