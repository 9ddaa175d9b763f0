/// The verb serve: sets up the server and runs it.
#include <memory>
#include <string>

#include "forms/reader.h"
#include "forms/writer.h"
#include "io/system.h"
#include "net/server.h"
#include "verbs/options.h"
#include "verbs/verbs.h"

namespace {

struct Serve_options {
    unsigned short port = 0;
    Form to = Form::tcl;
    Writing writing;
    std::string reply;
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

int serve(Serve_options const& options) {
    check_output(options.to, options.writing);
    Temporary_files files;
    std::unique_ptr<Message> reply;
    if (!options.reply.empty()) reply = read_reply(options.reply, files);
    Server server(options.port, options.limits);
    bool const is_seen = output_is_open();
    if (is_seen) server.print_as(options.to, options.writing);
    server.answer_with(reply.get());
    server.close_after(options.idle);
    if (options.port == 0 && is_seen) write_output(std::to_string(server.port()) + "\n");
    flush_output();
    server.run();
    return exit_good;
}

/// The default of --max-text. Strangers choose how long a message is.
constexpr unsigned long served_text = 1UL << 28;

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

}  // namespace

void add_serve(CLI::App& app, Work& work) {
    auto const chosen = std::make_shared<Serve_options>();
    CLI::App& verb = *app.add_subcommand(
        "serve", "Print messages that arrive over TCP and reply to each request with its own body");
    unsigned short const largest = 65535;
    add_number(verb, "--port", "port on which to listen; with 0, takes a free port and prints it",
               chosen->port, static_cast<unsigned short>(0), largest);
    add_to(verb, chosen->to, chosen->writing, "tcl");
    verb.add_option("--reply", chosen->reply, "file with the reply to every request, in any form")
        ->type_name("FILE");
    add_seconds(verb, "--idle", "time after which an idle connection is closed", chosen->idle);
    chosen->writing.max_text = served_text;
    add_max_text(verb, chosen->writing.max_text, std::to_string(served_text));
    add_limits(verb, chosen->limits);
    verb.footer(serve_limits());
    set_work(verb, work, chosen, serve);
}
