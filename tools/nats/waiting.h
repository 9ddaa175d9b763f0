/// Lets the main thread wait for the threads of libnats and for signals.
#pragma once

#include <chrono>
#include <exception>
#include <mutex>
#include <optional>

#include "io/system.h"

/// Puts something into the place of standard input, output and error where the program was started
/// without them, so that a socket of libnats does not take their numbers. Reading and writing them
/// fails as before.
void hold_standard_descriptors();

/// What one thread waits for. Other threads set it.
class Wake {
public:
    /// Throws Failure.
    Wake();

    int handle() const { return handle_.get(); }
    void set() const noexcept;
    /// Waits until set() was called since the last wait, or the time is over. Returns false when
    /// SIGINT, SIGTERM or SIGHUP has come. Throws Failure.
    bool wait(std::chrono::nanoseconds longest) const;

private:
    Descriptor handle_;
};

/// Takes SIGINT, SIGTERM and SIGHUP while it lives, so that they interrupt neither the output nor
/// the other threads. Make it before the threads.
class Stop {
public:
    /// Throws Failure.
    Stop();

    /// Ends wait(), which throws the first failure. Any thread may call it.
    void fail(std::exception_ptr failure);
    /// Waits for one of the signals. Afterwards, a further signal ends the process at once. Throws
    /// the failure.
    void wait();
    /// Throws the failure if there is one.
    void check();

private:
    std::optional<Blocked_signals> blocked_;
    Descriptor signals_;
    Wake failed_;
    std::mutex mutex_;
    std::exception_ptr failure_;
};
