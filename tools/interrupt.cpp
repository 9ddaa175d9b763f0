#include "interrupt.h"

#include <csignal>
#include <cstdlib>
#include <initializer_list>

namespace {

volatile std::sig_atomic_t caught = 0;

extern "C" void on_signal(int number) { caught = number; }

}  // namespace

void watch_interrupts() {
    struct sigaction action = {};
    action.sa_handler = on_signal;
    for (int const number : {SIGINT, SIGTERM, SIGHUP}) ::sigaction(number, &action, nullptr);
}

bool is_interrupted() { return caught != 0; }

void throw_if_interrupted() {
    if (is_interrupted()) throw Interrupted();
}

void end_by_interrupt() {
    std::signal(caught, SIG_DFL);
    std::raise(caught);
    std::abort();
}
