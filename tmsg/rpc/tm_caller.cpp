#include "tmsg/rpc/tm_caller.h"

#include <iterator>

#include "tmsg/message/tm_children.h"
#include "tmsg/message/tm_header.h"
#include "tmsg/value/tm_exception.h"

Tm_caller::Tm_caller(unsigned int first_seq_no)
    : next_seq_no_(first_seq_no & Tm_header::MAX_SEQ_NO) {}

Tm_caller::~Tm_caller() = default;

unsigned int Tm_caller::start(time_point deadline, Answer_handler on_answer) {
    if (!on_answer) throw Tm_exception("call without a handler");
    unsigned int const seq_no = free_seq_no();
    Due const due(deadline, started_);
    auto const call = calls_.emplace(seq_no, Call{due, std::move(on_answer)}).first;
    try {
        deadlines_.emplace(due, seq_no);
    } catch (...) {
        calls_.erase(call);
        throw;
    }
    ++started_;
    next_seq_no_ = (seq_no + 1) & Tm_header::MAX_SEQ_NO;
    return seq_no;
}

/// Steps over the calls that wait, which follow one another in the map.
unsigned int Tm_caller::free_seq_no() const {
    if (calls_.size() > Tm_header::MAX_SEQ_NO) {
        throw Tm_exception("all sequence numbers wait for an answer");
    }
    unsigned int seq_no = next_seq_no_;
    for (auto call = calls_.lower_bound(seq_no); call != calls_.end() && call->first == seq_no;) {
        seq_no = (seq_no + 1) & Tm_header::MAX_SEQ_NO;
        call = seq_no == 0 ? calls_.begin() : std::next(call);
    }
    return seq_no;
}

bool Tm_caller::take(std::unique_ptr<Message> answer, unsigned int seq_no) {
    if (answer == nullptr) throw Tm_exception("no answer to take");
    auto const call = calls_.find(seq_no);
    if (call == calls_.end()) {
        tm_remove_received_files(*answer);
        return false;
    }
    remove(call)(std::move(answer));
    return true;
}

void Tm_caller::expire(time_point now) {
    std::uint64_t const started_before = started_;
    // Every handler may change the maps, so each step looks for the next one anew.
    for (auto next = deadlines_.begin(); next != deadlines_.end() && next->first.first <= now;) {
        Due const due = next->first;
        bool const is_new = due.second >= started_before;
        if (!is_new) remove(calls_.find(next->second))(nullptr);
        next = deadlines_.upper_bound(due);
    }
}

bool Tm_caller::cancel(unsigned int seq_no) {
    auto const call = calls_.find(seq_no);
    if (call == calls_.end()) return false;
    remove(call);
    return true;
}

std::optional<Tm_caller::time_point> Tm_caller::next_deadline() const {
    if (deadlines_.empty()) return {};
    return deadlines_.begin()->first.first;
}

/// Ends the waiting, and returns the handler.
Tm_caller::Answer_handler Tm_caller::remove(Calls::iterator call) {
    Answer_handler on_answer = std::move(call->second.on_answer);
    deadlines_.erase(call->second.due);
    calls_.erase(call);
    return on_answer;
}
