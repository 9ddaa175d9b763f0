#pragma once

#include <string>

#include "suite.h"

namespace peers {

/// Prints one line for each measurement that the filter selects. For each operation on a workload
/// the peers take turns, round by round, so that a slower machine slows all of them. Returns the
/// exit status, which is 1 if the filter selects nothing.
int measure_all(Suite const& suite, std::string const& filter);

}  // namespace peers
