/// The command line: which verb is to run, and with what.
#pragma once

#include <functional>
#include <string>

struct Command {
    std::function<void()> run;  ///< nothing after bad usage
    int exit_status = 0;        ///< without anything to run
};

/// Bad usage is reported on standard error.
Command read_command_line(int argc, char** argv);
