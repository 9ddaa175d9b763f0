/// The verb call: sends a message over TCP and prints the reply.
#include <memory>
#include <string>

#include "forms/reader.h"
#include "forms/writer.h"
#include "io/system.h"
#include "net/connection.h"
#include "verbs/measure.h"
#include "verbs/options.h"
#include "verbs/request.h"
#include "verbs/verbs.h"

namespace {

struct Call_options {
    std::string address;
    Request_source request;
    Form from = Form::automatic;
    Form to = Form::tcl;
    Writing writing;
    Tm_limits limits;
    double timeout = 10;       ///< seconds for the whole call
    std::size_t repeat = 0;    ///< 0 for one call whose answer is printed
    std::size_t parallel = 1;  ///< connections
};

/// Receives until no call waits. Ignores messages that are no reply. Throws Failure when the
/// reply to `seq_no` is damaged.
void receive_answer(Connection& connection, Tm_caller& caller, unsigned int seq_no,
                    Temporary_files& files, Tm_limits const& limits, Deadline const& deadline) {
    std::string error;
    Tm_chunk_receiver receiver(
        [&](std::unique_ptr<Message> message, int, Tm_header const& header) {
            files.add(*message);
            caller.take(std::move(message), header.get_seq_no());
        },
        [&](int, unsigned int damaged, std::string const& text) {
            if (damaged == seq_no) error = text;
        },
        limits);
    while (caller.waiting() > 0 && error.empty()) {
        if (!connection.receive(receiver, deadline))
            throw Failure("connection closed without an answer");
    }
    if (caller.waiting() > 0) throw Failure(error);
}

void write_answer(Message& answer, Call_options const& options) {
    if (has_wire_names(options.to)) prepare_names(answer, options.writing.names);
    Writing writing = options.writing;
    writing.seq_no = answer.header.get_seq_no();
    writing.port = answer.header.get_tmport();
    write_message(answer, options.to, writing);
    end_output(options.to);
}

/// Prints the answer.
int call_once(Call_options const& options, Message const& message, Temporary_files& files) {
    Deadline const deadline(options.timeout);
    Connection connection;
    connection.open(options.address, deadline);
    std::unique_ptr<Message> answer;
    Tm_caller caller;
    unsigned int const seq_no = caller.start(
        deadline.end(), [&](std::unique_ptr<Message> got) { answer = std::move(got); });
    connection.send(message, options.writing.chunk_size, seq_no, 0, deadline);
    receive_answer(connection, caller, seq_no, files, options.limits, deadline);
    write_answer(*answer, options);
    if (answer->get_msg_type() != Message::TMT_FAULT) return exit_good;
    throw Failure("fault " + std::to_string(answer->get_fault_code()) + ": " +
                  answer->get_fault_string());
}

/// Makes many calls and prints their latencies.
int measure(Call_options const& options, Message const& message) {
    Load_plan plan;
    plan.address = options.address;
    plan.request = &message;
    plan.chunk_size = options.writing.chunk_size;
    plan.calls = options.repeat;
    plan.parallel = options.parallel;
    plan.timeout = options.timeout;
    plan.limits = options.limits;
    measure_calls(plan);
    return exit_good;
}

int call(Call_options const& options) {
    if (options.repeat == 0) check_output(options.to, options.writing);
    Temporary_files files;
    auto const message = make_request(options.request, options.from, files, options.limits);
    prepare_names(*message, options.writing.names);
    return options.repeat > 0 ? measure(options, *message) : call_once(options, *message, files);
}

void add_repeat(CLI::App& verb, Call_options& chosen) {
    constexpr std::size_t most_calls = 100'000'000;
    constexpr std::size_t most_connections = 10'000;
    auto* const repeat = add_number(
        verb, "--repeat",
        "makes so many calls and prints a table of their latencies instead of the replies",
        chosen.repeat, std::size_t{1}, most_calls);
    repeat->default_str("");
    add_number(verb, "--parallel",
               "with --repeat, the connections; each carries one call at a time", chosen.parallel,
               std::size_t{1}, most_connections)
        ->needs(repeat);
}

}  // namespace

void add_call(CLI::App& app, Work& work) {
    auto const chosen = std::make_shared<Call_options>();
    CLI::App& verb = *app.add_subcommand("call", "Send a message over TCP and print the reply");
    add_address(verb, chosen->address, "address of the receiver");
    add_from(verb, chosen->from);
    add_to(verb, chosen->to, chosen->writing, "tcl");
    add_chunk_size(verb, chosen->writing);
    add_seconds(verb, "--timeout", "time that the whole call may take", chosen->timeout);
    add_repeat(verb, *chosen);
    add_max_text(verb, chosen->writing.max_text, "none");
    add_limits(verb, chosen->limits);
    add_request(verb, chosen->request);
    set_work(verb, work, chosen, call);
}
