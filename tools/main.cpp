/// tmsg, the program that shows, converts and sends messages: its command line, and main().
#include <CLI/CLI.hpp>

#include <tmsg/version.h>

#include <csignal>
#include <exception>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "io/output.h"
#include "io/system.h"
#include "io/terminal.h"
#include "verbs/verbs.h"

namespace {

/// The options of all verbs.
struct Habits {
    std::string output;
    Colours colours = Colours::automatic;
    bool is_quiet = false;
};

std::string names_of_verbs(CLI::App const& app) {
    std::string names;
    for (CLI::App const* verb : app.get_subcommands([](CLI::App const*) { return true; })) {
        names += (names.empty() ? "" : ", ") + verb->get_name();
    }
    return names;
}

Work print(std::string const& text) {
    return [text] {
        write_output(text);
        flush_output();
        return exit_good;
    };
}

Work show_help(CLI::App const& app, CLI::ParseError const& error) {
    std::ostringstream text;
    app.exit(error, text, text);
    return print(text.str());
}

Work refuse(std::string const& error) {
    report(error + "; see tmsg --help");
    return [] { return exit_usage; };
}

Work refuse_verb(CLI::App const& app, std::string const& name) {
    return refuse("no such verb: " + name + "; choose from " + names_of_verbs(app));
}

/// Returns the work of the verb help.
Work help_with(CLI::App const& app, std::string const& name) {
    auto const mode = CLI::AppFormatMode::Normal;
    if (name.empty()) return print(app.get_formatter()->make_help(&app, app.get_name(), mode));
    try {
        return print(app.get_subcommand(name)->help(app.get_name()));
    } catch (CLI::OptionNotFound const&) {
        return refuse_verb(app, name);
    }
}

void add_help(CLI::App& app, Work& work) {
    auto const name = std::make_shared<std::string>();
    CLI::App& verb = *app.add_subcommand("help", "Print the help of a verb");
    verb.add_option("VERB", *name, "verb; prints the list of verbs when it is missing")
        ->type_name("");
    verb.callback([&app, &work, name] { work = help_with(app, *name); });
}

void add_habits(CLI::App& verb, Habits& habits) {
    std::map<std::string, Colours> static const colours = {
        {"auto", Colours::automatic}, {"always", Colours::always}, {"never", Colours::never}};
    verb.add_option("-o,--output", habits.output,
                    "file for the output, in place of standard output")
        ->type_name("FILE");
    verb.add_flag("-q,--quiet", habits.is_quiet, "show no progress and no notes");
    auto const choose = [&habits](std::string const& word) { habits.colours = colours.at(word); };
    verb.add_option_function<std::string>("--color", choose,
                                          "colours: auto, always or never; auto uses them on a "
                                          "terminal unless NO_COLOR is set")
        ->check(CLI::IsMember({"auto", "always", "never"}).description(""))
        ->type_name("WHEN");
}

void begin(Habits const& habits) {
    use_colours(habits.colours);
    if (habits.is_quiet) be_quiet();
    if (!habits.output.empty()) write_output_to(habits.output);
}

void add_verbs(CLI::App& app, Work& work, Habits& habits) {
    for (auto const add : {add_convert, add_inspect, add_peek, add_check, add_get, add_set,
                           add_diff, add_call, add_serve, add_tap, add_help}) {
        add(app, work);
    }
    for (CLI::App* verb : app.get_subcommands([](CLI::App*) { return true; })) {
        add_habits(*verb, habits);
    }
}

Work refuse_arguments(CLI::App const& app, CLI::ParseError const& error) {
    std::vector<std::string> const rest = app.remaining();
    bool const has_no_verb = app.get_subcommands().empty() && !rest.empty();
    if (has_no_verb && rest.front().front() != '-') return refuse_verb(app, rest.front());
    return refuse(error.what());
}

/// Returns the work that the arguments ask for. Reports bad usage on standard error.
Work read_command_line(int argc, char** argv) {
    Work work;
    Habits habits;
    CLI::App app("Shows, converts and sends messages of typed values.", "tmsg");
    app.set_version_flag("-V,--version", "tmsg " TMSG_VERSION);
    app.set_help_flag("-h,--help", "print this help and exit");
    app.require_subcommand(0, 1);
    add_verbs(app, work, habits);
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return error.get_exit_code() == 0 ? show_help(app, error) : refuse_arguments(app, error);
    }
    begin(habits);
    return work ? work : refuse("no verb given");
}

/// Returns the exit status.
int run(Work const& work) {
    try {
        int const status = work();
        if (status == exit_good) make_output();
        return status;
    } catch (Bad_usage const& error) {
        report(error.what());
        return exit_usage;
    } catch (Output_failure const& failure) {
        report(failure.text);
    } catch (std::exception const& error) {
        report(text_of(error));
    }
    return exit_failure;
}

}  // namespace

int main(int argc, char** argv) {
    // When the process ignores these signals, the system call fails and the process goes on.
    for (int const number : {SIGPIPE, SIGXFSZ}) std::signal(number, SIG_IGN);
    Work const work = read_command_line(argc, argv);
    watch_interrupts();
    try {
        return run(work);
    } catch (Interrupted const&) {
        end_by_interrupt();
    } catch (Closed_output const&) {
        end_by_closed_pipe();
    }
}
