/// The verb tap: shows the messages between a client and a server.
#include <memory>
#include <string>

#include "forms/writer.h"
#include "io/output.h"
#include "io/terminal.h"
#include "net/address.h"
#include "net/proxy.h"
#include "net/traffic.h"
#include "verbs/options.h"
#include "verbs/verbs.h"

namespace {

struct Tap_options {
    Endpoint listen;
    std::string upstream;
    Form to = Form::tcl;
    bool shows_messages = false;
    Writing writing;
    std::string save;
    Tm_limits limits;
};

int tap(Tap_options const& options) {
    Traffic traffic(options.limits);
    bool const is_seen = output_is_open();
    if (is_seen) traffic.show();
    if (is_seen && options.shows_messages) traffic.print_as(options.to, options.writing);
    if (!options.save.empty()) traffic.save_in(options.save);
    Proxy proxy(options.listen, resolve(options.upstream), traffic);
    note("listening on " + proxy.name() + ", passing on to " + options.upstream);
    if (options.listen.port == 0 && is_seen) write_output(std::to_string(proxy.port()) + "\n");
    flush_output();
    proxy.run();
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
        ->required()
        ->type_name("[ADDRESS:]PORT");
    verb.add_option("--upstream", chosen.upstream,
                    "address of the server to which everything is passed on")
        ->required()
        ->type_name("HOST:PORT")
        ->check(check_address);
}

}  // namespace

void add_tap(CLI::App& app, Work& work) {
    auto const chosen = std::make_shared<Tap_options>();
    CLI::App& verb = *app.add_subcommand(
        "tap", "Pass everything on to a server, unchanged, and show the messages");
    add_places(verb, *chosen);
    add_form(verb, "-t,--to", "form in which each message is shown", chosen->to, text_forms())
        ->each([chosen](std::string const&) { chosen->shows_messages = true; });
    add_max_text_of_strangers(verb, chosen->writing.max_text);
    verb.add_option("--save", chosen->save,
                    "folder for a capture of each connection and direction; is made when missing")
        ->type_name("FOLDER");
    add_limits(verb, chosen->limits);
    set_work(verb, work, chosen, tap);
}
