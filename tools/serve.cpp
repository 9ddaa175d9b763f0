/// The verb serve: sets up the server and runs it.
#include <memory>
#include <string>

#include "input.h"
#include "output.h"
#include "server.h"
#include "system.h"
#include "verbs.h"

namespace {

std::unique_ptr<Message> read_reply(std::string const& path, Temporary_files& files) {
    Input input(path);
    auto reply = read_message(input, Form::tcl, files, Tm_limits());
    if (reply->get_msg_type() == Message::TMT_REQUEST) {
        throw Failure("the reply must be a response or a fault");
    }
    prepare_names(*reply, Names::as_received);
    return reply;
}

}  // namespace

void serve(Serve_options const& options) {
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
}
