/// Reads the files that a verb is given.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "io/input.h"

/// Opens each file, or standard input when there are none, and calls `read` with it. Reports an
/// exception of `read`, and goes on with the next file. Returns the exit status. Throws what
/// writing output throws.
int for_each_file(std::vector<std::string> const& files, std::function<void(Input&)> const& read);
