/// Reads command lines: --help, --version, one option with a value, and the arguments after the
/// options.
#pragma once

#include <getopt.h>

#include <tmsg/version.h>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

struct Arguments {
    char const* value = nullptr;  ///< the value of the option, or null without the option
    std::vector<char const*> rest;
};

/// Writes one line to standard error and ends the program with the exit status 2.
[[noreturn]] inline void refuse_arguments(std::string const& why) {
    std::cerr << program_invocation_short_name << ": " << why << "; see --help\n";
    std::exit(2);
}

/// Returns the arguments. Ends the program after --help, after --version and for a bad option.
inline Arguments read_arguments(int argc, char** argv, char const* option_name, char const* usage) {
    option const options[] = {{"help", no_argument, nullptr, 'h'},
                              {"version", no_argument, nullptr, 'v'},
                              {option_name, required_argument, nullptr, 'o'},
                              {nullptr, 0, nullptr, 0}};
    Arguments arguments;
    for (int found = 0; (found = ::getopt_long(argc, argv, "", options, nullptr)) != -1;) {
        if (found == '?') std::exit(2);
        if (found == 'o') arguments.value = optarg;
        if (found == 'h') std::cout << usage;
        if (found == 'v') std::cout << program_invocation_short_name << " " TMSG_VERSION "\n";
        if (found == 'h' || found == 'v') std::exit(0);
    }
    arguments.rest.assign(argv + optind, argv + argc);
    return arguments;
}

inline unsigned short read_port(std::string const& text) {
    unsigned short port = 0;
    char const* const end = text.data() + text.size();
    auto const [stop, error] = std::from_chars(text.data(), end, port);
    if (stop != end || error != std::errc()) refuse_arguments("no port number: " + text);
    return port;
}
