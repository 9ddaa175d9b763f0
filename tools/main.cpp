/// tmsg, the program that shows, converts and sends messages: its command line, and main().
#include <tmsg/tmsg.h>
#include <CLI/CLI.hpp>

#include <csignal>
#include <exception>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <type_traits>

#include "input.h"
#include "output.h"
#include "server.h"
#include "system.h"
#include "terminal.h"
#include "verbs.h"

namespace {

enum Exit_status { exit_good = 0, exit_failure = 1, exit_usage = 2 };

/// Which verb is to run, and with what.
struct Command {
    std::function<void()> run;  ///< nothing after bad usage
    int exit_status = 0;        ///< without anything to run
};

/// The usual limit of the text that `serve` makes of one message, for strangers choose its length.
constexpr unsigned long served_text = 1UL << 28;

/// The options of all verbs, and what the command line made of them.
struct Options {
    Convert_options convert;
    Inspect_options inspect;
    std::string peek_file;
    Call_options call;
    Serve_options serve;
    std::function<void()> run;
};

using Forms = std::map<std::string, Form>;

std::string names_of(Forms const& forms) {
    std::string names;
    for (auto const& form : forms) names += (names.empty() ? "" : ", ") + form.first;
    return names;
}

CLI::Option* add_form(CLI::App& verb, std::string const& name, std::string const& what, Form& form,
                      Forms const& forms) {
    auto const read = [&form, &forms, name](std::string const& text) {
        auto const found = forms.find(text);
        if (found == forms.end()) throw CLI::ValidationError(name, "no such form: " + text);
        form = found->second;
    };
    return verb.add_option_function<std::string>(name, read, what + ": " + names_of(forms))
        ->type_name("FORM");
}

/// Returns the error, or an empty text for HOST:PORT with both parts.
std::string check_address(std::string const& text) {
    std::size_t const colon = text.rfind(':');
    bool const has_both = colon != std::string::npos && colon > 0;
    std::string const port = has_both ? text.substr(colon + 1) : "";
    bool const is_number = !port.empty() && port.size() <= 5 &&
                           port.find_first_not_of("0123456789") == std::string::npos;
    if (is_number && std::stoi(port) > 0 && std::stoi(port) <= 65535) return {};
    return "no address of the form HOST:PORT: " + text;
}

void add_file(CLI::App& verb, std::string& file, std::string const& what) {
    verb.add_option("FILE", file, what + "; standard input when it is missing or -")->type_name("");
}

template <class Number>
void add_number(CLI::App& verb, std::string const& name, std::string const& what, Number& number,
                Number low, Number high) {
    std::string const range = ", " + std::to_string(low) + " to " + std::to_string(high);
    verb.add_option(name, number, what + range)
        ->check(CLI::Range(low, high).description(""))
        ->capture_default_str()
        ->type_name("N");
}

void add_chunk_size(CLI::App& verb, Writing& writing) {
    int const largest = Tm_header::MAX_LENGTH;
    auto const set = [&writing](int size) { writing.chunk_size = writing.xml_piece_size = size; };
    std::string const what = "payload bytes of a chunk, 1 to " + std::to_string(largest) +
                             "; when given, also bytes of an XML piece";
    verb.add_option_function<int>("--chunk-size", set, what)
        ->check(CLI::Range(1, largest).description(""))
        ->default_str(std::to_string(writing.chunk_size))
        ->type_name("N");
}

/// One limit, from 1 to what its number holds.
template <class Number>
void add_limit(CLI::App& verb, std::string const& name, std::string const& what, Number& limit,
               Number most = std::numeric_limits<std::make_signed_t<Number>>::max()) {
    add_number(verb, name, what, limit, Number{1}, most);
}

void add_limits(CLI::App& verb, Tm_limits& limits) {
    // The usual stack of 8 MiB has room for several times as many.
    constexpr unsigned int deepest = 10000;
    add_limit(verb, "--max-depth", "most levels of nesting in the input", limits.max_depth,
              deepest);
    add_limit(verb, "--max-bytes", "most bytes of one message in the input",
              limits.max_message_bytes);
    add_limit(verb, "--max-file", "most bytes of one file value in it", limits.max_file_bytes);
    add_limit(verb, "--max-files", "most file values in one message", limits.max_files);
    add_limit(verb, "--max-values", "most values in one message", limits.max_values);
    add_limit(verb, "--max-memory", "most bytes of memory that one message takes",
              limits.max_memory);
    add_limit(verb, "--max-unfinished", "most unfinished messages at a time",
              limits.max_unfinished);
    add_limit(verb, "--max-held", "most bytes of memory in unfinished messages",
              limits.max_held_bytes);
}

void add_max_text(CLI::App& verb, unsigned long& limit, std::string const& usual) {
    constexpr long longest = std::numeric_limits<long>::max();
    verb.add_option("--max-text", limit,
                    "most bytes of text made of a message: JSON and list text are cut short "
                    "there, xml and dump fail, 1 to " +
                        std::to_string(longest))
        ->check(CLI::Range(1L, longest).description(""))
        ->default_str(usual)
        ->type_name("BYTES");
}

void add_seconds(CLI::App& verb, std::string const& name, std::string const& what,
                 double& seconds) {
    verb.add_option(name, seconds, what)
        ->check(CLI::Range(0.001, 1e6).description(""))
        ->capture_default_str()
        ->type_name("SECONDS");
}

void add_convert(CLI::App& app, Options& options) {
    CLI::App& verb =
        *app.add_subcommand("convert", "Read one message and write it in another form");
    Convert_options& chosen = options.convert;
    Writing& writing = chosen.writing;
    add_form(verb, "--from", "form of the input", chosen.from, input_forms)->required();
    add_form(verb, "--to", "form of the output", chosen.to, output_forms)->required();
    add_chunk_size(verb, writing);
    add_number(verb, "--limit", "length at which JSON and list text are cut short", writing.limit,
               0U, ~0U);
    add_number(verb, "--seq", "sequence number in the chunk headers", writing.seq_no, 0U,
               Tm_header::MAX_SEQ_NO);
    add_number(verb, "--port", "port byte in the chunk headers", writing.port, 0U, 255U);
    auto* const by_index = verb.add_flag_callback(
        "--names-by-index", [&writing] { writing.names = Names::by_index; },
        "write member names by index");
    verb.add_flag_callback(
            "--names", [&writing] { writing.names = Names::as_text; },
            "never write member names by index")
        ->excludes(by_index);
    add_max_text(verb, writing.max_text, "none");
    add_limits(verb, chosen.limits);
    add_file(verb, chosen.file, "the message");
    verb.callback([&options] { options.run = [&options] { convert(options.convert); }; });
}

void add_inspect(CLI::App& app, Options& options) {
    CLI::App& verb = *app.add_subcommand("inspect", "Show the chunks and messages of a capture");
    Forms static const forms = {{"wire", Form::wire}, {"chunks", Form::chunks}};
    add_form(verb, "--from", "form of the input, else chunks", options.inspect.from, forms);
    add_limits(verb, options.inspect.limits);
    add_file(verb, options.inspect.file, "the capture");
    verb.callback([&options] { options.run = [&options] { inspect(options.inspect); }; });
}

void add_peek(CLI::App& app, Options& options) {
    CLI::App& verb =
        *app.add_subcommand("peek", "Print the method name of a request in the wire form");
    add_file(verb, options.peek_file, "the request");
    verb.callback([&options] { options.run = [&options] { peek(options.peek_file); }; });
}

void add_call(CLI::App& app, Options& options) {
    CLI::App& verb = *app.add_subcommand("call", "Send a message over TCP and print the answer");
    Call_options& chosen = options.call;
    verb.add_option("HOST:PORT", chosen.address, "where to send it")
        ->required()
        ->type_name("")
        ->check(check_address);
    add_form(verb, "--from", "form of the input, else tcl", chosen.from, input_forms);
    add_form(verb, "--to", "form of the output, else tcl", chosen.to, output_forms);
    add_chunk_size(verb, chosen.writing);
    add_seconds(verb, "--timeout", "how long the call may take", chosen.timeout);
    add_max_text(verb, chosen.writing.max_text, "none");
    add_limits(verb, chosen.limits);
    add_file(verb, chosen.file, "the message");
    verb.callback([&options] { options.run = [&options] { call(options.call); }; });
}

std::string serve_limits() {
    return "At most " + std::to_string(Server::most_clients) +
           " connections are served at a time, and no more than half of the descriptors that the "
           "process may have (ulimit -Hn). Beyond that, the one idle longest is closed for each "
           "new one. An answer that stands still for " +
           std::to_string(Server::patience.count()) +
           " seconds ends its connection; unsent bytes of all answers beyond " +
           std::to_string(Server::most_unsent) + " end those that stand still longest.";
}

void add_serve(CLI::App& app, Options& options) {
    CLI::App& verb = *app.add_subcommand(
        "serve", "Print messages that come over TCP and answer requests with an echo");
    Serve_options& chosen = options.serve;
    unsigned short const largest = 65535;
    add_number(verb, "--port", "where to listen; 0 picks a free port and prints it", chosen.port,
               static_cast<unsigned short>(0), largest);
    add_form(verb, "--to", "form of the output, else tcl", chosen.to, output_forms);
    verb.add_option("--reply", chosen.reply, "list text of the answer to every request")
        ->type_name("FILE");
    add_seconds(verb, "--idle", "for how long a connection may be idle before it is closed",
                chosen.idle);
    chosen.writing.max_text = served_text;
    add_max_text(verb, chosen.writing.max_text, std::to_string(served_text));
    add_limits(verb, chosen.limits);
    verb.footer(serve_limits());
    verb.callback([&options] { options.run = [&options] { serve(options.serve); }; });
}

Command show_help(CLI::App const& app, CLI::ParseError const& error) {
    std::ostringstream text;
    app.exit(error, text, text);
    return {[help = text.str()] {
                write_output(help);
                flush_output();
            },
            exit_good};
}

/// Reports bad usage on standard error.
Command read_command_line(int argc, char** argv) {
    auto const options = std::make_shared<Options>();
    CLI::App app("Shows, converts and sends messages of typed values.", "tmsg");
    app.set_version_flag("--version", "tmsg " TMSG_VERSION);
    app.set_help_flag("--help", "print this help and exit");
    app.require_subcommand(0, 1);
    for (auto const add : {add_convert, add_inspect, add_peek, add_call, add_serve})
        add(app, *options);
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        if (error.get_exit_code() == 0) return show_help(app, error);
        report(std::string(error.what()) + "; see tmsg --help");
        return {{}, exit_usage};
    }
    if (!options->run) {
        report("no verb given; see tmsg --help");
        return {{}, exit_usage};
    }
    return {[options] { options->run(); }, exit_good};
}

}  // namespace

int main(int argc, char** argv) {
    // The call of the system fails instead, and the process goes on.
    for (int const number : {SIGPIPE, SIGXFSZ}) std::signal(number, SIG_IGN);
    Command const command = read_command_line(argc, argv);
    if (!command.run) return command.exit_status;
    watch_interrupts();
    try {
        command.run();
        return exit_good;
    } catch (Interrupted const&) {
        end_by_interrupt();
    } catch (std::exception const& error) {
        report(text_of(error));
    }
    return exit_failure;
}
