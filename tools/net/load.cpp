/// Runs calls side by side.
#include "net/load.h"

#include <algorithm>
#include <cerrno>

#include "forms/reader.h"
#include "io/system.h"
#include "net/address.h"
#include "net/connection.h"
#include "net/poll.h"

namespace {

/// The descriptors that the program needs beside its connections.
constexpr std::size_t other_descriptors = 64;

bool is_active(pollfd const& handle) { return handle.fd >= 0 && handle.revents != 0; }

}  // namespace

std::string text_of_fault(Message const& answer) {
    return "fault " + std::to_string(answer.get_fault_code()) + ": " + answer.get_fault_string();
}

Load::Load(Load_plan const& plan)
    : plan_(plan),
      address_(resolve(plan.address)),
      receiver_(
          [this](std::unique_ptr<Message> message, int, Tm_header const& header) {
              caller_.take(std::move(message), header.get_seq_no());
          },
          [this](int number, unsigned int seq_no, std::string const& text) {
              Line& line = lines_[static_cast<std::size_t>(number)];
              if (line.seq_no == seq_no) fail(line, text);
          },
          plan.limits) {
    std::size_t const lines = std::min(plan.parallel, plan.calls);
    count_places(lines + other_descriptors, 1);
    for (std::size_t i = 0; i < lines; ++i) {
        lines_.emplace_back();
        lines_.back().number = static_cast<int>(i);
    }
}

Load_result Load::run() {
    auto const begin = Clock::now();
    begin_calls();
    for (std::vector<pollfd> handles; begun_ < plan_.calls || caller_.waiting() > 0;) {
        if (!wait(handles)) throw Interrupted();
        for (std::size_t i = 0; i < handles.size(); ++i) {
            if (is_active(handles[i])) go_on(lines_[i]);
        }
        caller_.expire(Clock::now());
        begin_calls();
    }
    result_.time = Clock::now() - begin;
    return std::move(result_);
}

/// The handles are those of the lines, in their order. Does not wait when further calls can begin.
/// Returns false when a signal came.
bool Load::wait(std::vector<pollfd>& handles) const {
    handles.clear();
    bool has_idle = false;
    for (Line const& line : lines_) {
        bool const is_idle = line.state == State::closed || line.state == State::idle;
        has_idle = has_idle || is_idle;
        bool const sends = line.state == State::connecting || line.state == State::sending;
        auto const events = static_cast<short>(sends ? POLLIN | POLLOUT : POLLIN);
        handles.push_back({is_idle ? -1 : line.stream.get_handle(), events, 0});
    }
    if (has_idle && begun_ < plan_.calls) return wait_for(handles, Clock::duration::zero());
    auto const deadline = caller_.next_deadline();
    return wait_for(handles, deadline ? *deadline - Clock::now() : Clock::duration(long_time));
}

void Load::begin_calls() {
    for (Line& line : lines_) {
        bool const is_idle = line.state == State::closed || line.state == State::idle;
        if (is_idle && begun_ < plan_.calls) begin(line);
    }
}

void Load::begin(Line& line) {
    ++begun_;
    Deadline const deadline(plan_.timeout);
    line.seq_no = caller_.start(deadline.end(), [this, &line](std::unique_ptr<Message> answer) {
        take(line, std::move(answer));
    });
    if (line.state == State::idle) return begin_sending(line);
    if (!begin_to_connect(line.stream, address_)) {
        return fail(line, Failure::of_system("failed to connect to " + plan_.address).what());
    }
    line.state = State::connecting;
}

void Load::begin_sending(Line& line) {
    line.source =
        std::make_unique<Tm_chunk_source>(*plan_.request, line.seq_no, 0, plan_.chunk_size);
    line.size = 0;
    line.state = State::sending;
    line.begin = Clock::now();
    send(line);
}

void Load::go_on(Line& line) {
    if (line.state == State::connecting) {
        errno = error_of(line.stream);
        if (errno == 0) return begin_sending(line);
        return fail(line, Failure::of_system("failed to connect to " + plan_.address).what());
    }
    // The handlers of the first step may end the call.
    if (line.state == State::sending) send(line);
    if (line.state == State::sending || line.state == State::receiving) receive(line);
}

void Load::send(Line& line) {
    while (line.size > 0 || line.source->next(line.chunk, line.size)) {
        ssize_t const done = line.stream.send(line.chunk, line.size);
        if (done < 0 && is_not_ready()) return;
        if (done < 0) return fail(line, Failure::of_system("failed to send").what());
        line.chunk += done;
        line.size -= static_cast<std::size_t>(done);
    }
    line.state = State::receiving;
}

void Load::receive(Line& line) {
    unsigned char block[block_size];
    ssize_t const got = line.stream.recv(block, sizeof block);
    if (got < 0 && is_not_ready()) return;
    if (got < 0) return fail(line, Failure::of_system("failed to receive").what());
    if (got == 0) return fail(line, "connection closed without an answer");
    receiver_.receive(line.number, block, static_cast<std::size_t>(got));
}

/// Ends the call with its answer, or with none when its time is over.
void Load::take(Line& line, std::unique_ptr<Message> answer) {
    if (answer == nullptr) return fail(line, "failed to receive: timed out");
    auto const latency = Clock::now() - line.begin;
    Temporary_files files;
    files.add(*answer);
    result_.latencies.push_back(latency);
    if (answer->get_msg_type() == Message::TMT_FAULT) count_error(text_of_fault(*answer));
    // The rest of a request that is not sent as a whole would be missing before the next one.
    if (line.state != State::receiving) return close(line);
    line.state = State::idle;
}

void Load::fail(Line& line, std::string const& error) {
    count_error(error);
    caller_.cancel(line.seq_no);
    close(line);
}

/// Drops all that the connection has received.
void Load::close(Line& line) {
    receiver_.forget(line.number);
    line.stream.close();
    line.state = State::closed;
}

void Load::count_error(std::string const& error) {
    if (result_.errors == 0) result_.first_error = error;
    ++result_.errors;
}
