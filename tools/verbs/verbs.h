/// The verbs of the program. Each function adds a verb to the command line. When the user chooses
/// the verb, its work is stored in `work`. The work throws Failure, Interrupted, and what the
/// library throws. It writes nothing after an exception.
#pragma once

#include <functional>

namespace CLI {
class App;
}

enum Exit_status { exit_good = 0, exit_failure = 1, exit_usage = 2 };

/// Returns the exit status.
using Work = std::function<int()>;

void add_convert(CLI::App& app, Work& work);
void add_inspect(CLI::App& app, Work& work);
void add_peek(CLI::App& app, Work& work);
void add_check(CLI::App& app, Work& work);
void add_get(CLI::App& app, Work& work);
void add_set(CLI::App& app, Work& work);
void add_diff(CLI::App& app, Work& work);
void add_call(CLI::App& app, Work& work);
void add_serve(CLI::App& app, Work& work);
void add_tap(CLI::App& app, Work& work);
