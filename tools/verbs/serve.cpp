/// The verb serve: sets up the server and runs it.
#include <tmsg/tmsg.h>

#include <charconv>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "forms/reader.h"
#include "forms/writer.h"
#include "io/system.h"
#include "io/terminal.h"
#include "nats/over_nats.h"
#include "net/server.h"
#include "verbs/options.h"
#include "verbs/verbs.h"

namespace {

struct Fault {
    int code = 0;
    std::string text;
};

struct Serve_options {
    std::string subject;  ///< over NATS; empty for TCP
    std::string group;
    unsigned short port = 0;
    Endpoint listen;
    Form to = Form::tcl;
    Writing writing;
    std::string reply;
    std::optional<Fault> fault;
    unsigned int delay = 0;  ///< milliseconds
    Tm_limits limits;
    double idle = 60;  ///< seconds
};

std::unique_ptr<Message> read_reply(std::string const& path, Temporary_files& files) {
    Input input(path);
    auto reply = read_message(input, Form::automatic, files, Tm_limits());
    if (reply->get_msg_type() == Message::TMT_REQUEST) {
        throw Failure("the reply must be a response or a fault");
    }
    prepare_names(*reply, Names::as_received);
    return reply;
}

/// Returns the method that makes the replies. The reply must outlive it.
Answer_method choose_method(Serve_options const& options, Message const* reply) {
    if (reply != nullptr) return [reply](Message&) { return *reply; };
    if (!options.fault) return echo;
    return [fault = *options.fault](Message&) -> Message {
        throw Tm_fault_exception(fault.code, fault.text);
    };
}

void serve_over_tcp(Serve_options const& options, Answer_method method) {
    Endpoint const place{options.listen.host, options.listen.port.value_or(options.port)};
    Server server(place, options.limits);
    bool const is_seen = output_is_open();
    if (is_seen) server.print_as(options.to, options.writing);
    server.answer_with(std::move(method));
    server.delay_by(std::chrono::milliseconds(options.delay));
    server.close_after(options.idle);
    note("listening on " + server.name());
    if (place.port == 0 && is_seen) write_output(std::to_string(server.port()) + "\n");
    flush_output();
    server.run();
}

void serve_subject(Serve_options const& options, Answer_method method) {
    Nats_serving serving;
    serving.place = parse_nats(options.subject);
    serving.group = options.group;
    serving.method = std::move(method);
    if (output_is_open()) serving.printer.print_as(options.to, options.writing);
    serving.delay = std::chrono::milliseconds(options.delay);
    serving.limits = options.limits;
    serve_over_nats(serving);
}

int serve(Serve_options const& options) {
    if (!options.subject.empty()) check_nats_is_built(options.subject);
    check_output(options.to, options.writing);
    Temporary_files files;
    std::unique_ptr<Message> reply;
    if (!options.reply.empty()) reply = read_reply(options.reply, files);
    Answer_method method = choose_method(options, reply.get());
    if (options.subject.empty()) {
        serve_over_tcp(options, std::move(method));
    } else {
        serve_subject(options, std::move(method));
    }
    return exit_good;
}

/// Returns nothing when the text is no CODE:TEXT.
std::optional<Fault> parse_fault(std::string const& text) {
    Fault fault;
    char const* const end = text.data() + text.size();
    auto const [after, error] = std::from_chars(text.data(), end, fault.code);
    if (error != std::errc() || after == end || *after != ':') return {};
    fault.text.assign(after + 1, end);
    return fault;
}

void add_listen(CLI::App& verb, Serve_options& chosen) {
    unsigned short const largest = 65535;
    CLI::Option* const port = add_number(
        verb, "--port", "port on which to listen; with 0, takes a free port and prints it",
        chosen.port, static_cast<unsigned short>(0), largest);
    auto const read = [&chosen, port](std::string const& text) {
        auto const place = parse_endpoint(text);
        if (!place) throw CLI::ValidationError("--listen", "no address: " + text);
        if (place->port && port->count() > 0) {
            throw CLI::ValidationError("--listen", "a port beside --port: " + text);
        }
        chosen.listen = *place;
    };
    verb.add_option_function<std::string>(
            "--listen", read,
            "address of the interface on which to listen, by default 127.0.0.1; can name the port")
        ->type_name("ADDRESS[:PORT]");
}

void add_subject(CLI::App& verb, Serve_options& chosen) {
    CLI::Option* const subject = verb.add_option("ADDRESS", chosen.subject,
                                                 "nats://HOST:PORT/SUBJECT, a subject at a NATS "
                                                 "server; serves over TCP when it is missing")
                                     ->type_name("")
                                     ->check(check_nats);
    for (char const* const name : {"--port", "--listen", "--idle"}) {
        verb.get_option(name)->excludes(subject);
    }
    auto const check = [](std::string const& text) {
        bool const is_name = !text.empty() && is_subject(text);
        return is_name ? std::string() : "no name of a group: " + text;
    };
    verb.add_option("--group", chosen.group,
                    "queue group; each request goes to one member; by default that of the library")
        ->type_name("NAME")
        ->check(check)
        ->needs(subject);
}

void add_answer(CLI::App& verb, Serve_options& chosen) {
    CLI::Option* const reply = verb.add_option("--reply", chosen.reply,
                                               "file with the reply to every request, in any form")
                                   ->type_name("FILE");
    auto const read = [&chosen](std::string const& text) {
        chosen.fault = parse_fault(text);
        if (!chosen.fault) throw CLI::ValidationError("--fault", "no CODE:TEXT: " + text);
    };
    verb.add_option_function<std::string>("--fault", read,
                                          "fault that is the reply to every request")
        ->type_name("CODE:TEXT")
        ->excludes(reply);
    constexpr unsigned int longest = 3'600'000;
    add_number(verb, "--delay", "milliseconds for which each reply waits", chosen.delay, 0U,
               longest)
        ->type_name("MS");
}

std::string serve_limits() {
    return "Over TCP, the server keeps at most " + std::to_string(Server::most_clients) +
           " connections at a time, and at most one for every two descriptors that the process may "
           "have (ulimit -Hn). When it has no room for a new connection, it closes the longest "
           "idle one. It closes a connection whose client takes no byte of a reply for " +
           std::to_string(Server::patience.count()) + " seconds. When more than " +
           std::to_string(Server::most_unsent) +
           " bytes of all replies are unsent, it closes connections with unsent bytes, the longest "
           "idle one first.";
}

}  // namespace

void add_serve(CLI::App& app, Work& work) {
    auto const chosen = std::make_shared<Serve_options>();
    CLI::App& verb = *app.add_subcommand(
        "serve",
        "Print messages that arrive over TCP or NATS and reply to each request with its own body");
    add_listen(verb, *chosen);
    add_to(verb, chosen->to, chosen->writing, "tcl");
    add_answer(verb, *chosen);
    add_seconds(verb, "--idle", "time after which an idle connection is closed", chosen->idle);
    add_subject(verb, *chosen);
    add_max_text_of_strangers(verb, chosen->writing.max_text);
    add_limits(verb, chosen->limits);
    verb.footer(serve_limits());
    set_work(verb, work, chosen, serve);
}
