/// The verb check: reads messages and reports the files that are bad.
#include <memory>
#include <string>
#include <vector>

#include "forms/reader.h"
#include "verbs/files.h"
#include "verbs/options.h"
#include "verbs/verbs.h"

namespace {

struct Check_options {
    std::vector<std::string> files;
    Form from = Form::automatic;
    Tm_limits limits;
};

int check(Check_options const& options) {
    return for_each_file(options.files, [&](Input& input) {
        Message_reader reader(input, options.from, options.limits);
        while (reader.next()) continue;
    });
}

}  // namespace

void add_check(CLI::App& app, Work& work) {
    auto const chosen = std::make_shared<Check_options>();
    CLI::App& verb = *app.add_subcommand(
        "check", "Read messages, print nothing, and name each file that is bad");
    add_from(verb, chosen->from);
    add_limits(verb, chosen->limits);
    add_files(verb, chosen->files, "files to check");
    set_work(verb, work, chosen, check);
}
