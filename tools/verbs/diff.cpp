/// The verb diff: prints the differences between two messages.
#include <exception>
#include <string>

#include "forms/difference.h"
#include "forms/only_message.h"
#include "io/output.h"
#include "io/system.h"
#include "io/terminal.h"
#include "verbs/options.h"
#include "verbs/verbs.h"

namespace {

struct Diff_options {
    std::string left;
    std::string right;
    Form from = Form::automatic;
    Tm_limits limits;
};

constexpr int exit_different = 1;
constexpr int exit_trouble = 2;

int compare(Diff_options const& options) {
    Temporary_files files;
    auto const left = read_only_message(options.left, options.from, files, options.limits);
    auto const right = read_only_message(options.right, options.from, files, options.limits);
    bool const are_equal = find_differences(*left.message, *right.message, write_output);
    flush_output();
    make_output();  // here, so that a failure is trouble and no difference
    return are_equal ? exit_good : exit_different;
}

/// Reports its own errors, because the exit status 1 means a difference.
int diff(Diff_options const& options) {
    try {
        return compare(options);
    } catch (Output_failure const& failure) {
        report(failure.text);
    } catch (std::exception const& error) {
        report(text_of(error));
    }
    return exit_trouble;
}

}  // namespace

void add_diff(CLI::App& app, Work& work) {
    auto const chosen = std::make_shared<Diff_options>();
    CLI::App& verb = *app.add_subcommand("diff", "Print the values that differ in two messages");
    add_from(verb, chosen->from);
    add_limits(verb, chosen->limits);
    add_only_file(verb, "A", chosen->left);
    add_only_file(verb, "B", chosen->right);
    set_work(verb, work, chosen, diff);
}
