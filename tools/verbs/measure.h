/// Prints the latencies of many calls.
#pragma once

#include "net/load.h"

/// Makes the calls and prints a table of their latencies. Throws Failure when a call failed, and
/// what Load throws.
void measure_calls(Load_plan const& plan);
