/// tmsg, the program that shows, converts and sends messages: its command line, and main().
#include <CLI/CLI.hpp>

#include <csignal>
#include <exception>
#include <sstream>
#include <string>

#include "io/output.h"
#include "io/system.h"
#include "io/terminal.h"
#include "verbs/verbs.h"

namespace {

Work show_help(CLI::App const& app, CLI::ParseError const& error) {
    std::ostringstream text;
    app.exit(error, text, text);
    return [help = text.str()] {
        write_output(help);
        flush_output();
        return exit_good;
    };
}

Work refuse(std::string const& error) {
    report(error + "; see tmsg --help");
    return [] { return exit_usage; };
}

/// Returns the work that the arguments ask for. Reports bad usage on standard error.
Work read_command_line(int argc, char** argv) {
    Work work;
    CLI::App app("Shows, converts and sends messages of typed values.", "tmsg");
    app.set_version_flag("--version", "tmsg " TMSG_VERSION);
    app.set_help_flag("--help", "print this help and exit");
    app.require_subcommand(0, 1);
    for (auto const add : {add_convert, add_inspect, add_peek, add_call, add_serve, add_tap})
        add(app, work);
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return error.get_exit_code() == 0 ? show_help(app, error) : refuse(error.what());
    }
    return work ? work : refuse("no verb given");
}

}  // namespace

int main(int argc, char** argv) {
    // When the process ignores these signals, the system call fails and the process goes on.
    for (int const number : {SIGPIPE, SIGXFSZ}) std::signal(number, SIG_IGN);
    Work const work = read_command_line(argc, argv);
    watch_interrupts();
    try {
        return work();
    } catch (Interrupted const&) {
        end_by_interrupt();
    } catch (std::exception const& error) {
        report(text_of(error));
    }
    return exit_failure;
}
