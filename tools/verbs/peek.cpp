/// The verb peek: prints the method names of requests.
#include <memory>
#include <string>
#include <vector>

#include "forms/reader.h"
#include "forms/writer.h"
#include "verbs/files.h"
#include "verbs/options.h"
#include "verbs/verbs.h"

namespace {

struct Peek_options {
    std::vector<std::string> files;
    Form from = Form::automatic;
    Tm_limits limits;
};

void peek_file(Input& input, Peek_options const& options) {
    Message_reader reader(input, options.from, options.limits);
    while (auto const message = reader.next()) {
        if (message->get_msg_type() != Message::TMT_REQUEST) {
            throw reader.failure("no method name at the head of the message");
        }
        write_output(message->get_request_name());
        write_output("\n");
    }
}

int peek(Peek_options const& options) {
    int const status =
        for_each_file(options.files, [&](Input& input) { peek_file(input, options); });
    flush_output();
    return status;
}

}  // namespace

void add_peek(CLI::App& app, Work& work) {
    auto const chosen = std::make_shared<Peek_options>();
    CLI::App& verb = *app.add_subcommand("peek", "Print the method names of requests");
    add_from(verb, chosen->from);
    add_limits(verb, chosen->limits);
    add_files(verb, chosen->files, "files with requests");
    set_work(verb, work, chosen, peek);
}
