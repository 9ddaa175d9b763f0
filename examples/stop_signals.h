/// The signals that end a program: SIGINT and SIGTERM.
#pragma once

#include <sys/signalfd.h>

#include <csignal>

/// Blocks them, in all threads that begin later. Returns them for sigwait().
inline sigset_t block_stop_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

/// Returns a descriptor that becomes readable when one of them must end the program.
inline int open_stop_signals() {
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t const signals = block_stop_signals();
    return ::signalfd(-1, &signals, SFD_CLOEXEC);
}
