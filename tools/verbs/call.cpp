/// The verb call: sends a message over TCP and prints the reply.
#include <ace/INET_Addr.h>
#include <ace/SOCK_Connector.h>
#include <ace/SOCK_Stream.h>
#include <ace/Time_Value.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>

#include "forms/reader.h"
#include "forms/writer.h"
#include "io/system.h"
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
    double timeout = 10;  ///< seconds for the whole call
};

/// The moment at which the time for the call ends.
class Deadline {
public:
    explicit Deadline(double seconds)
        : end_(Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                  std::chrono::duration<double>(seconds))) {}

    std::chrono::steady_clock::time_point end() const { return end_; }
    /// Returns the time that is left, which is never negative.
    ACE_Time_Value left() const {
        auto const left = std::max(end_ - Clock::now(), Clock::duration::zero());
        return ACE_Time_Value(std::chrono::duration_cast<std::chrono::microseconds>(left));
    }

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point end_;
};

/// The caller's end of a TCP connection. Messages travel over it in chunks.
class Connection {
public:
    Connection() = default;
    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;
    ~Connection() { stream_.close(); }

    ACE_SOCK_Stream& stream() { return stream_; }
    int handle() const { return stream_.get_handle(); }

    /// Sends the message. Throws Failure when the time ends before all of it is sent, and what the
    /// sender throws.
    void send(Message const& message, int chunk_size, unsigned int seq_no, unsigned char port,
              Deadline const& deadline);
    /// Passes the next bytes to the receiver. Returns false when the other end has closed the
    /// connection. Throws Failure when no bytes come in time, and what the receiver's handlers
    /// throw.
    bool receive(Tm_chunk_receiver& receiver, Deadline const& deadline);

private:
    ACE_SOCK_Stream stream_;
};

[[noreturn]] void fail(std::string const& what) {
    throw_if_interrupted();
    if (errno == ETIME) throw Failure(what + ": timed out");
    throw Failure::of_system(what);
}

/// Returns the time that is left, and throws Failure when there is none. Without time, a system
/// call would still do the work that needs no waiting.
ACE_Time_Value time_left(Deadline const& deadline, std::string const& what) {
    throw_if_interrupted();
    ACE_Time_Value left = deadline.left();
    if (left == ACE_Time_Value::zero) throw Failure(what + ": timed out");
    return left;
}

void Connection::send(Message const& message, int chunk_size, unsigned int seq_no,
                      unsigned char port, Deadline const& deadline) {
    Tm_chunk_sender sender(chunk_size);
    bool const sent =
        sender.send(message, seq_no, port, [&](unsigned char const* chunk, std::size_t size) {
            ACE_Time_Value const left = time_left(deadline, "failed to send");
            return stream_.send_n(chunk, size, &left) == static_cast<ssize_t>(size);
        });
    if (!sent) fail("failed to send");
}

bool Connection::receive(Tm_chunk_receiver& receiver, Deadline const& deadline) {
    unsigned char block[1 << 16];
    ACE_Time_Value const left = time_left(deadline, "failed to receive");
    ssize_t const got = stream_.recv(block, sizeof block, &left);
    if (got < 0) fail("failed to receive");
    receiver.receive(handle(), block, static_cast<std::size_t>(got));
    return got > 0;
}

ACE_INET_Addr resolve(std::string const& text) {
    ACE_INET_Addr address;
    if (address.set(text.c_str()) != 0) throw Failure("unknown address " + text);
    return address;
}

void connect(Connection& connection, std::string const& address, Deadline const& deadline) {
    ACE_Time_Value const left = deadline.left();
    if (ACE_SOCK_Connector().connect(connection.stream(), resolve(address), &left) == 0)
        return move_above_standard(connection.stream());
    throw_if_interrupted();
    throw Failure::of_system("failed to connect to " + address);
}

/// Receives until no call waits, and ignores messages that are no reply. Throws Failure when the
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

int call(Call_options const& options) {
    check_output(options.to, options.writing);
    Temporary_files files;
    auto const message = make_request(options.request, options.from, files, options.limits);
    prepare_names(*message, options.writing.names);

    Deadline const deadline(options.timeout);
    Connection connection;
    connect(connection, options.address, deadline);
    std::unique_ptr<Message> answer;
    Tm_caller caller;
    unsigned int const seq_no = caller.start(
        deadline.end(), [&](std::unique_ptr<Message> got) { answer = std::move(got); });
    connection.send(*message, options.writing.chunk_size, seq_no, 0, deadline);
    receive_answer(connection, caller, seq_no, files, options.limits, deadline);
    write_answer(*answer, options);
    if (answer->get_msg_type() != Message::TMT_FAULT) return exit_good;
    throw Failure("fault " + std::to_string(answer->get_fault_code()) + ": " +
                  answer->get_fault_string());
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
    add_max_text(verb, chosen->writing.max_text, "none");
    add_limits(verb, chosen->limits);
    add_request(verb, chosen->request);
    set_work(verb, work, chosen, call);
}
