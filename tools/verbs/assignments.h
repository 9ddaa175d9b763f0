/// Takes assignments from the command line.
#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

#include "forms/assignment.h"

/// Makes `take` get the assignments that follow the arguments of the verb. A text that is no
/// assignment is bad usage. Calls `take` after all options are read.
void add_further_assignments(CLI::App& verb,
                             std::function<void(std::vector<Assignment> further)> take);

/// Reads an assignment. Throws CLI::ValidationError for any other text.
Assignment read_assignment(std::string const& text);
