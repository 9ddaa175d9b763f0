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

/// The work that the command line asks for.
struct Command {
    std::function<void()> run;  ///< empty when there is no work, as after bad usage
    int exit_status = 0;        ///< the exit status when `run` is empty
};

/// The default of --max-text for `serve`. Strangers choose how long a message is.
constexpr unsigned long served_text = 1UL << 28;

/// The options of all verbs, as the command line sets them. `run` runs the verb that it names.
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
    verb.add_option("FILE", file, what + "; reads standard input when FILE is missing or -")
        ->type_name("");
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
    std::string const what = "payload bytes of each chunk, 1 to " + std::to_string(largest) +
                             "; when given, also the bytes of each piece of XML";
    verb.add_option_function<int>("--chunk-size", set, what)
        ->check(CLI::Range(1, largest).description(""))
        ->default_str(std::to_string(writing.chunk_size))
        ->type_name("N");
}

/// Adds the option of a limit from 1 to `most`.
template <class Number>
void add_limit(CLI::App& verb, std::string const& name, std::string const& what, Number& limit,
               Number most = std::numeric_limits<std::make_signed_t<Number>>::max()) {
    add_number(verb, name, what, limit, Number{1}, most);
}

void add_limits(CLI::App& verb, Tm_limits& limits) {
    // The usual stack of 8 MiB has room for several times as many levels.
    constexpr unsigned int deepest = 10000;
    add_limit(verb, "--max-depth", "maximum depth of nesting in the input", limits.max_depth,
              deepest);
    add_limit(verb, "--max-bytes", "maximum bytes of one message in the input",
              limits.max_message_bytes);
    add_limit(verb, "--max-file", "maximum bytes of one file value in the input",
              limits.max_file_bytes);
    add_limit(verb, "--max-files", "maximum number of file values in one message",
              limits.max_files);
    add_limit(verb, "--max-values", "maximum number of values in one message", limits.max_values);
    add_limit(verb, "--max-memory", "maximum bytes of memory that one message takes",
              limits.max_memory);
    add_limit(verb, "--max-unfinished",
              "maximum number of unfinished messages in one input or connection",
              limits.max_unfinished);
    add_limit(verb, "--max-held",
              "maximum bytes that the unfinished messages of one connection hold",
              limits.max_held_bytes);
}

void add_max_text(CLI::App& verb, unsigned long& limit, std::string const& usual) {
    constexpr long longest = std::numeric_limits<long>::max();
    verb.add_option("--max-text", limit,
                    "maximum bytes of the text of one message; longer JSON and list text is cut, "
                    "longer XML and a longer dump are errors, 1 to " +
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
    add_number(verb, "--limit", "bytes after which JSON and list text are cut", writing.limit, 0U,
               ~0U);
    add_number(verb, "--seq", "sequence number in the chunk headers", writing.seq_no, 0U,
               Tm_header::MAX_SEQ_NO);
    add_number(verb, "--port", "port byte in the chunk headers", writing.port, 0U, 255U);
    auto* const by_index = verb.add_flag_callback(
        "--names-by-index", [&writing] { writing.names = Names::by_index; },
        "write member names by index");
    verb.add_flag_callback(
            "--names", [&writing] { writing.names = Names::as_text; },
            "write all member names as text")
        ->excludes(by_index);
    add_max_text(verb, writing.max_text, "none");
    add_limits(verb, chosen.limits);
    add_file(verb, chosen.file, "file with the message");
    verb.callback([&options] { options.run = [&options] { convert(options.convert); }; });
}

void add_inspect(CLI::App& app, Options& options) {
    CLI::App& verb = *app.add_subcommand("inspect", "Show the chunks and messages of a capture");
    Forms static const forms = {{"wire", Form::wire}, {"chunks", Form::chunks}};
    add_form(verb, "--from", "form of the input, by default chunks", options.inspect.from, forms);
    add_limits(verb, options.inspect.limits);
    add_file(verb, options.inspect.file, "file with the capture");
    verb.callback([&options] { options.run = [&options] { inspect(options.inspect); }; });
}

void add_peek(CLI::App& app, Options& options) {
    CLI::App& verb =
        *app.add_subcommand("peek", "Print the method name of a request in the wire form");
    add_file(verb, options.peek_file, "file with the request");
    verb.callback([&options] { options.run = [&options] { peek(options.peek_file); }; });
}

void add_call(CLI::App& app, Options& options) {
    CLI::App& verb = *app.add_subcommand("call", "Send a message over TCP and print the reply");
    Call_options& chosen = options.call;
    verb.add_option("HOST:PORT", chosen.address, "address of the receiver")
        ->required()
        ->type_name("")
        ->check(check_address);
    add_form(verb, "--from", "form of the input, by default tcl", chosen.from, input_forms);
    add_form(verb, "--to", "form of the output, by default tcl", chosen.to, output_forms);
    add_chunk_size(verb, chosen.writing);
    add_seconds(verb, "--timeout", "time that the whole call may take", chosen.timeout);
    add_max_text(verb, chosen.writing.max_text, "none");
    add_limits(verb, chosen.limits);
    add_file(verb, chosen.file, "file with the message");
    verb.callback([&options] { options.run = [&options] { call(options.call); }; });
}

std::string serve_limits() {
    return "The server keeps at most " + std::to_string(Server::most_clients) +
           " connections at a time, and at most one for every two descriptors that the process may "
           "have (ulimit -Hn). When it has no room for a new connection, it closes the longest "
           "idle one. It closes a connection whose client takes no byte of a reply for " +
           std::to_string(Server::patience.count()) + " seconds. When more than " +
           std::to_string(Server::most_unsent) +
           " bytes of all replies are unsent, it closes connections with unsent bytes, the longest "
           "idle one first.";
}

void add_serve(CLI::App& app, Options& options) {
    CLI::App& verb = *app.add_subcommand(
        "serve", "Print messages that arrive over TCP and reply to each request with its own body");
    Serve_options& chosen = options.serve;
    unsigned short const largest = 65535;
    add_number(verb, "--port", "port on which to listen; with 0, takes a free port and prints it",
               chosen.port, static_cast<unsigned short>(0), largest);
    add_form(verb, "--to", "form of the output, by default tcl", chosen.to, output_forms);
    verb.add_option("--reply", chosen.reply,
                    "file with the list text of the reply to every request")
        ->type_name("FILE");
    add_seconds(verb, "--idle", "time after which an idle connection is closed", chosen.idle);
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

/// Returns the command for the arguments. Reports bad usage on standard error.
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
    // When the process ignores these signals, the system call fails and the process goes on.
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
