/// Adds options to the verbs. Verbs that have an option of the same name describe it in the same
/// way.
#pragma once

#include <tmsg/tmsg.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <vector>

#include "forms/form.h"
#include "forms/writer.h"
#include "verbs/verbs.h"

CLI::Option* add_form(CLI::App& verb, std::string const& name, std::string const& what, Form& form,
                      Forms const& forms);
/// Adds --from, of which the default is auto.
CLI::Option* add_from(CLI::App& verb, Form& form);
/// Adds --to, --pretty and --force. `usual` describes the default of --to.
CLI::Option* add_to(CLI::App& verb, Form& form, Writing& writing, std::string const& usual = "");
/// Adds a file that must be given.
void add_only_file(CLI::App& verb, std::string const& name, std::string& file);
/// Adds FILE..., the last arguments.
void add_files(CLI::App& verb, std::vector<std::string>& files, std::string const& what);
/// Returns the error, or an empty text for HOST:PORT with both parts.
std::string check_address(std::string const& text);
/// Adds HOST:PORT, an argument that must be given. It can be nats://HOST:PORT/SUBJECT, too.
void add_address(CLI::App& verb, std::string& address, std::string const& what);
void add_seconds(CLI::App& verb, std::string const& name, std::string const& what, double& seconds);
CLI::Option* add_chunk_size(CLI::App& verb, Writing& writing);
/// Adds the limits on input.
void add_limits(CLI::App& verb, Tm_limits& limits);
/// Adds --max-text. `usual` describes the default.
void add_max_text(CLI::App& verb, unsigned long& limit, std::string const& usual);
/// Adds --max-text with a default of 256 MiB, because strangers choose how long a message is.
void add_max_text_of_strangers(CLI::App& verb, unsigned long& limit);

/// Adds the option of a number from `low` to `high`.
template <class Number>
CLI::Option* add_number(CLI::App& verb, std::string const& name, std::string const& what,
                        Number& number, Number low, Number high) {
    std::string const range = ", " + std::to_string(low) + " to " + std::to_string(high);
    return verb.add_option(name, number, what + range)
        ->check(CLI::Range(low, high).description(""))
        ->capture_default_str()
        ->type_name("N");
}

/// Makes `run` the work when the user chooses the verb.
template <class Options>
void set_work(CLI::App& verb, Work& work, std::shared_ptr<Options> chosen,
              int (*run)(Options const&)) {
    verb.callback([&work, chosen, run] { work = [chosen, run] { return run(*chosen); }; });
}
