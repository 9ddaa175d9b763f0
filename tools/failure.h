/// What ends the program: a line on standard error, and an exit status.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

enum Exit_status { exit_good = 0, exit_failure = 1, exit_usage = 2 };

class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;

    /// "WHAT: " and what the system says about the call that has just failed.
    static Failure of_system(std::string const& what);
};

/// Its text, in plain words for std::bad_alloc.
char const* text_of(std::exception const& error);

/// "tmsg: TEXT" on standard error, on one line.
void report(std::string_view text);
