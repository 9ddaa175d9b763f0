/// The verb call: sends a message over TCP or NATS and prints the reply.
#include <memory>
#include <string>

#include "forms/reader.h"
#include "forms/writer.h"
#include "io/system.h"
#include "nats/over_nats.h"
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
    std::size_t parallel = 1;  ///< calls at a time
    bool has_chunk_size = false;
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

std::unique_ptr<Message> call_over_tcp(Load_plan const& plan, Temporary_files& files) {
    Deadline const deadline(plan.timeout);
    Connection connection;
    connection.open(plan.address, deadline);
    std::unique_ptr<Message> answer;
    Tm_caller caller;
    unsigned int const seq_no = caller.start(
        deadline.end(), [&](std::unique_ptr<Message> got) { answer = std::move(got); });
    connection.send(*plan.request, plan.chunk_size, seq_no, 0, deadline);
    receive_answer(connection, caller, seq_no, files, plan.limits, deadline);
    return answer;
}

/// Prints the answer.
int call_once(Call_options const& options, Load_plan const& plan, Temporary_files& files) {
    auto const answer =
        is_nats(plan.address) ? call_over_nats(plan, files) : call_over_tcp(plan, files);
    write_answer(*answer, options);
    if (answer->get_msg_type() != Message::TMT_FAULT) return exit_good;
    throw Failure(text_of_fault(*answer));
}

Load_plan plan_of(Call_options const& options, Message const& request) {
    Load_plan plan;
    plan.address = options.address;
    plan.request = &request;
    plan.chunk_size = options.writing.chunk_size;
    if (options.has_chunk_size) {
        plan.chunk_size_over_nats = static_cast<std::size_t>(plan.chunk_size);
    }
    plan.calls = options.repeat;
    plan.parallel = options.parallel;
    plan.timeout = options.timeout;
    plan.limits = options.limits;
    return plan;
}

int call(Call_options const& options) {
    if (is_nats(options.address)) check_nats_is_built(options.address);
    if (options.repeat == 0) check_output(options.to, options.writing);
    Temporary_files files;
    auto const message = make_request(options.request, options.from, files, options.limits);
    prepare_names(*message, options.writing.names);
    Load_plan const plan = plan_of(options, *message);
    if (options.repeat == 0) return call_once(options, plan, files);
    measure_calls(plan);
    return exit_good;
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
               "with --repeat, the calls at a time; over TCP each has a connection",
               chosen.parallel, std::size_t{1}, most_connections)
        ->needs(repeat);
}

}  // namespace

void add_call(CLI::App& app, Work& work) {
    auto const chosen = std::make_shared<Call_options>();
    CLI::App& verb =
        *app.add_subcommand("call", "Send a message over TCP or NATS and print the reply");
    add_address(verb, chosen->address,
                "address of the receiver, or nats://HOST:PORT/SUBJECT for a call over NATS");
    add_from(verb, chosen->from);
    add_to(verb, chosen->to, chosen->writing, "tcl");
    add_chunk_size(verb, chosen->writing)->each([chosen](std::string const&) {
        chosen->has_chunk_size = true;
    });
    add_seconds(verb, "--timeout", "time that the whole call may take", chosen->timeout);
    add_repeat(verb, *chosen);
    add_max_text(verb, chosen->writing.max_text, "none");
    add_limits(verb, chosen->limits);
    add_request(verb, chosen->request);
    set_work(verb, work, chosen, call);
}
