/// The verb get: prints the value at a path.
#include <string>

#include "forms/only_message.h"
#include "forms/value_text.h"
#include "io/output.h"
#include "io/system.h"
#include "verbs/options.h"
#include "verbs/verbs.h"

namespace {

struct Get_options {
    std::string file;
    std::string path;
    Form from = Form::automatic;
    Tm_limits limits;
};

Tm_value const& find_value(Only_message const& input, std::string const& path) {
    try {
        return value_at(*input.message, path);
    } catch (Failure const& failure) {
        throw Failure(input.name + ": " + failure.what());
    }
}

int get(Get_options const& options) {
    Temporary_files files;
    auto const input = read_only_message(options.file, options.from, files, options.limits);
    Tm_value const& value = find_value(input, options.path);
    bool const is_text = value.get_value_type() == TMV_STRING;
    write_output(is_text ? static_cast<Tm_string const&>(value).value() : plain_text(value));
    write_output("\n");
    flush_output();
    return exit_good;
}

}  // namespace

void add_get(CLI::App& app, Work& work) {
    auto const chosen = std::make_shared<Get_options>();
    CLI::App& verb = *app.add_subcommand("get", "Print the value at a path in a message");
    add_from(verb, chosen->from);
    add_limits(verb, chosen->limits);
    add_only_file(verb, "FILE", chosen->file);
    verb.add_option("PATH", chosen->path, "path such as body.server.ports[2]; '' is the message")
        ->required()
        ->type_name("")
        ->check([](std::string const& path) { return is_path(path) ? "" : "bad path: " + path; });
    set_work(verb, work, chosen, get);
}
