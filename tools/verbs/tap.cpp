/// The verb tap: shows the messages between a client and a server.
#include <memory>
#include <string>

#include "forms/writer.h"
#include "io/output.h"
#include "io/terminal.h"
#include "nats/over_nats.h"
#include "net/address.h"
#include "net/proxy.h"
#include "net/traffic.h"
#include "verbs/options.h"
#include "verbs/verbs.h"

namespace {

struct Tap_options {
    std::string subject;  ///< over NATS; empty for TCP
    std::string inboxes = "_INBOX";
    Endpoint listen;
    std::string upstream;
    Form to = Form::tcl;
    bool shows_messages = false;
    Writing writing;
    std::string save;
    Tm_limits limits;
};

void set_lines(Traffic_lines& lines, Tap_options const& options) {
    if (!output_is_open()) return;
    lines.show();
    if (options.shows_messages) lines.print_as(options.to, options.writing);
}

void tap_tcp(Tap_options const& options) {
    Traffic traffic(options.limits);
    set_lines(traffic.lines(), options);
    if (!options.save.empty()) traffic.save_in(options.save);
    Proxy proxy(options.listen, resolve(options.upstream), traffic);
    note("listening on " + proxy.name() + ", passing on to " + options.upstream);
    bool const is_seen = output_is_open();
    if (options.listen.port == 0 && is_seen) write_output(std::to_string(proxy.port()) + "\n");
    flush_output();
    proxy.run();
}

void tap_subject(Tap_options const& options) {
    check_nats_is_built(options.subject);
    Nats_watching watching;
    watching.place = parse_nats(options.subject);
    watching.inboxes = options.inboxes;
    watching.captures = options.save;
    watching.limits = options.limits;
    set_lines(watching.lines, options);
    watch_nats(watching);
}

int tap(Tap_options const& options) {
    options.subject.empty() ? tap_tcp(options) : tap_subject(options);
    return exit_good;
}

/// The forms that are text, because the output is one.
Forms const& text_forms() {
    static Forms const forms = [] {
        Forms texts;
        for (auto const& form : output_forms) {
            if (is_text(form.second)) texts.insert(form);
        }
        return texts;
    }();
    return forms;
}

void add_places(CLI::App& verb, Tap_options& chosen) {
    auto const read = [&chosen](std::string const& text) {
        auto const place = parse_endpoint(text);
        if (!place || !place->port) throw CLI::ValidationError("--listen", "no port: " + text);
        chosen.listen = *place;
    };
    verb.add_option_function<std::string>(
            "--listen", read,
            "port on which to listen, at the loopback address unless another one is given; with 0, "
            "takes a free port and prints it")
        ->type_name("[ADDRESS:]PORT");
    verb.add_option("--upstream", chosen.upstream,
                    "address of the server to which everything is passed on")
        ->type_name("HOST:PORT")
        ->check(check_address);
}

/// Adds a subject in place of the two places of add_places().
void add_subject(CLI::App& verb, Tap_options& chosen) {
    CLI::Option* const subject =
        verb.add_option("ADDRESS", chosen.subject,
                        "nats://HOST:PORT/SUBJECT, a subject at a NATS server that is watched; "
                        "else give --listen and --upstream")
            ->type_name("")
            ->check(check_nats);
    auto const check = [](std::string const& text) {
        return is_subject(text) ? std::string() : "no subject: " + text;
    };
    verb.add_option("--inbox-prefix", chosen.inboxes,
                    "what the names of the inboxes of callers and workers begin with")
        ->type_name("PREFIX")
        ->check(check)
        ->capture_default_str()
        ->needs(subject);
    for (char const* const name : {"--listen", "--upstream"}) {
        verb.get_option(name)->excludes(subject);
    }
    verb.parse_complete_callback([&verb, subject] {
        if (subject->count() > 0) return;
        for (char const* const name : {"--listen", "--upstream"}) {
            if (verb.get_option(name)->count() == 0) throw CLI::RequiredError(name);
        }
    });
}

}  // namespace

void add_tap(CLI::App& app, Work& work) {
    auto const chosen = std::make_shared<Tap_options>();
    CLI::App& verb = *app.add_subcommand("tap",
                                         "Show the messages of a subject over NATS, or pass "
                                         "everything on to a server, unchanged, and show it");
    add_places(verb, *chosen);
    add_subject(verb, *chosen);
    add_form(verb, "-t,--to", "form in which each message is shown", chosen->to, text_forms())
        ->each([chosen](std::string const&) { chosen->shows_messages = true; });
    add_max_text_of_strangers(verb, chosen->writing.max_text);
    verb.add_option(
            "--save", chosen->save,
            "folder for a capture of each connection or caller and direction; is made when missing")
        ->type_name("FOLDER");
    add_limits(verb, chosen->limits);
    set_work(verb, work, chosen, tap);
}
