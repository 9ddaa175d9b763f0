/// Waits for signals as for a socket.
#pragma once

#include <sys/signalfd.h>

#include <csignal>

/// Returns a descriptor that becomes readable when SIGINT or SIGTERM must end the program.
inline int open_stop_signals() {
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return ::signalfd(-1, &signals, SFD_CLOEXEC);
}
