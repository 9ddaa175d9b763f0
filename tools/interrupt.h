/// SIGINT, SIGTERM and SIGHUP end the program only after it has cleaned up: a call of the system
/// that blocks fails with EINTR, and whoever sees that asks here.
#pragma once

/// Thrown to unwind; end_by_interrupt() follows.
struct Interrupted {};

void watch_interrupts();
bool is_interrupted();
void throw_if_interrupted();

/// Ends the process by the signal that came, as if it had not been watched.
[[noreturn]] void end_by_interrupt();
