/// The request that a verb sends: a file with a message, or a method name with its arguments.
#pragma once

#include <tmsg/tmsg.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "forms/assignment.h"
#include "forms/form.h"
#include "forms/reader.h"

struct Request_source {
    /// FILE or METHOD. A single word is FILE when it is "-" or names a file that exists.
    std::string first_word;
    bool is_file = true;
    std::vector<Assignment> assignments;
    std::optional<std::string> data;  ///< JSON or @FILE
};

/// Adds [FILE | METHOD name=value...] and -d, the last arguments.
void add_request(CLI::App& verb, Request_source& source);

/// Reads or makes the request. Adds the files that it brings to `files`. Throws Failure, and what
/// the library throws.
std::unique_ptr<Message> make_request(Request_source const& source, Form form,
                                      Temporary_files& files, Tm_limits const& limits);
