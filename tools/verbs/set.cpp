/// The verb set: changes values in a message.
#include <string>
#include <utility>
#include <vector>

#include "forms/assignment.h"
#include "forms/exact_text.h"
#include "forms/only_message.h"
#include "forms/writer.h"
#include "io/output.h"
#include "io/replacement.h"
#include "verbs/assignments.h"
#include "verbs/options.h"
#include "verbs/verbs.h"

namespace {

struct Set_options {
    std::string file;
    std::vector<Assignment> assignments;
    Form from = Form::automatic;
    Form to = Form::automatic;  ///< the form of the input
    bool is_in_place = false;
    Writing writing;
    Tm_limits limits;
};

void write_message_in(Form form, Only_message& changed) {
    if (form == Form::tcl) return write_output(exact_list_text(*changed.message));
    if (has_wire_names(form)) prepare_names(*changed.message, changed.writing.names);
    write_message(*changed.message, form, changed.writing);
}

/// Ends the last line of a text file with a line feed.
void write_in_place(Form form, Only_message& changed, std::string const& path) {
    Replacement replacement(path);
    Output_redirection const redirection(replacement.descriptor(), path);
    write_message_in(form, changed);
    if (is_text(form)) write_output("\n");
    flush_output();
    replacement.commit();
}

int set(Set_options const& options) {
    Temporary_files files;
    auto changed = read_only_message(options.file, options.from, files, options.limits);
    for (auto const& assignment : options.assignments) {
        assignment.apply(*changed.message, files, options.limits);
    }
    Form const form = options.to == Form::automatic ? changed.form : options.to;
    if (options.writing.indent > 0) changed.writing.indent = options.writing.indent;
    if (options.is_in_place) {
        write_in_place(form, changed, options.file);
        return exit_good;
    }
    check_output(form, options.writing);
    write_message_in(form, changed);
    end_output(form);
    return exit_good;
}

}  // namespace

void add_set(CLI::App& app, Work& work) {
    auto const chosen = std::make_shared<Set_options>();
    CLI::App& verb = *app.add_subcommand("set", "Change values in a message");
    add_from(verb, chosen->from);
    add_to(verb, chosen->to, chosen->writing, "that of the input");
    verb.add_flag("--in-place", chosen->is_in_place, "write the message into FILE");
    add_limits(verb, chosen->limits);
    add_only_file(verb, "FILE", chosen->file);
    verb.add_option_function<std::string>(
            "PATH=VALUE",
            [chosen](std::string const& text) {
                chosen->assignments.push_back(read_assignment(text));
            },
            "new value at a path such as body.ports[2]; or PATH:TYPE=VALUE, PATH:=JSON; more may "
            "follow")
        ->required()
        ->type_name("");
    add_further_assignments(verb, [chosen](std::vector<Assignment> further) {
        for (auto& each : further) chosen->assignments.push_back(std::move(each));
    });
    set_work(verb, work, chosen, set);
}
