/// Finds the call that an answer belongs to. Any number of calls may wait at a time, and answers
/// may come in any order. The caller sends and receives nothing itself:
///
///     Tm_caller caller;
///     unsigned int seq_no = caller.start(deadline, [](std::unique_ptr<Message> answer) {
///         answer != nullptr ? use(*answer) : report("timed out");
///     });
///     sender.send(request, seq_no, port, sink);
///     // in the message handler of a Tm_chunk_receiver:
///     caller.take(std::move(message), header.get_seq_no());
///     // when caller.next_deadline() has come:
///     caller.expire(std::chrono::steady_clock::now());
///
/// Each handler is called once at most, and not after cancel() or the end of the caller. While it
/// runs, its call does not wait any more. Handlers may call all operations, but must not destroy
/// the caller. An exception of a handler passes through take() or expire(). expire() then leaves
/// the other calls for the next expire(). Only one thread at a time may use a caller.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "tmsg/export.h"
#include "tmsg/message/message.h"

class TMSG_API Tm_caller {
public:
    using time_point = std::chrono::steady_clock::time_point;
    /// Gets the answer and owns it, or null when none came before the deadline.
    using Answer_handler = std::function<void(std::unique_ptr<Message> answer)>;

    /// The first sequence number is taken as Tm_header::set_seq_no() takes it: its low bits.
    explicit Tm_caller(unsigned int first_seq_no = 1);
    Tm_caller(Tm_caller const&) = delete;
    Tm_caller& operator=(Tm_caller const&) = delete;
    ~Tm_caller();

    /// Begins to wait. Returns the sequence number to send with: the next one that does not wait.
    /// 0 follows Tm_header::MAX_SEQ_NO. Throws Tm_exception when all wait and for an empty handler.
    unsigned int start(time_point deadline, Answer_handler on_answer);
    /// Passes the answer to the handler of the call. When nobody waits for the number, removes the
    /// files that the answer brought, deletes it and returns false. Throws Tm_exception for null.
    bool take(std::unique_ptr<Message> answer, unsigned int seq_no);
    /// Calls the handlers of all calls whose deadline is not after `now` with null, the earliest
    /// first. Leaves the calls that handlers start meanwhile for the next expire().
    void expire(time_point now);
    /// Drops the call without calling its handler. Returns false when nobody waits for the number.
    bool cancel(unsigned int seq_no);

    /// Returns the number of calls that wait.
    std::size_t waiting() const { return deadlines_.size(); }
    /// Returns the earliest deadline, or nothing when no call waits.
    std::optional<time_point> next_deadline() const;

private:
    /// Deadline and age, so that the earliest is first, and the older one where deadlines are
    /// equal.
    using Due = std::pair<time_point, std::uint64_t>;
    struct Call {
        Due due;
        Answer_handler on_answer;
    };
    using Calls = std::map<unsigned int, Call>;

    unsigned int free_seq_no() const;
    Answer_handler remove(Calls::iterator call);

    Calls calls_;  ///< by sequence number
    std::map<Due, unsigned int> deadlines_;
    unsigned int next_seq_no_;
    std::uint64_t started_ = 0;  ///< number of calls so far
};
