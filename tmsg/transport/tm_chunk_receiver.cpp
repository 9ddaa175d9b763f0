#include "tmsg/transport/tm_chunk_receiver.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>
#include <vector>

#include "tmsg/message/message.h"
#include "tmsg/transport/tm_chunk_reader.h"
#include "tmsg/value/internal/tm_limit_error.h"

namespace {

char const idle_text[] = "message dropped: no data since 20 collections of garbage";
char const cut_header_text[] = "stream ends within the header of a chunk";

/// Corrects the sum of held bytes when a message has got bytes, also after an exception.
class Recount {
public:
    Recount(std::size_t& sum, MessageChunk const& message) : sum_(sum), message_(message) {
        sum_ -= message_.heldBytes();
    }
    Recount(Recount const&) = delete;
    Recount& operator=(Recount const&) = delete;
    ~Recount() { sum_ += message_.heldBytes(); }

private:
    std::size_t& sum_;
    MessageChunk const& message_;
};

}  // namespace

/// The state of an originator.
struct Tm_chunk_receiver::Connection {
    explicit Connection(int number) : originator(number) {}

    unsigned int seq_no() const { return reader.header().get_seq_no(); }
    /// Returns true when the chunk continues a failed message, whose idle countdown it restarts.
    bool ignores_chunk() {
        auto const found = refused.find(seq_no());
        if (found == refused.end()) return false;
        found->second = MessageChunk::IDLE_LIMIT;
        return true;
    }

    void give_up(MessageChunk const& message) {
        --unfinished;
        held_bytes -= message.heldBytes();
    }
    void age() {
        for (auto at = refused.begin(); at != refused.end();) {
            at = --at->second == 0 ? refused.erase(at) : std::next(at);
        }
    }

    int originator;
    Tm_chunk_reader reader;
    std::size_t unfinished = 0;  ///< number of messages
    std::size_t held_bytes = 0;  ///< sum over all unfinished messages
    /// Idle countdowns of failed messages, whose further chunks are ignored. There are at most
    /// max_unfinished.
    std::map<unsigned int, int> refused;
    bool is_forgotten = false;
};

/// The result of a step: a finished message, an error, or nothing.
struct Tm_chunk_receiver::Outcome {
    std::unique_ptr<Message> message;
    std::string error;
};

void Tm_chunk_receiver::Remove_with_files::operator()(MessageChunk* message) const {
    message->removeReceivedFiles();
    delete message;
}

Tm_chunk_receiver::Tm_chunk_receiver(Message_handler on_message, Error_handler on_error,
                                     Tm_limits const& limits)
    : on_message_(std::move(on_message)), on_error_(std::move(on_error)), limits_(limits) {}

Tm_chunk_receiver::~Tm_chunk_receiver() {
    messages_.forEach([](MessageChunk const& message) { message.removeReceivedFiles(); });
}

std::shared_ptr<Tm_chunk_receiver::Connection> Tm_chunk_receiver::connection_of(int originator) {
    auto const known = connections_.find(originator);
    if (known != connections_.end()) return known->second;
    auto const fresh = std::make_shared<Connection>(originator);
    return connections_.emplace(originator, fresh).first->second;
}

void Tm_chunk_receiver::receive(int originator, unsigned char const* data, std::size_t size) {
    auto const connection = connection_of(originator);
    std::exception_ptr thrown;
    bool goes_on = true;
    while (goes_on && !connection->is_forgotten) {
        try {
            Outcome outcome;
            goes_on = take_step(*connection, data, size, outcome);
            hand_out(*connection, outcome);
        } catch (...) {
            if (thrown == nullptr) thrown = std::current_exception();
        }
    }
    if (thrown != nullptr) std::rethrow_exception(thrown);
}

/// Returns false when there is no input left.
bool Tm_chunk_receiver::take_step(Connection& connection, unsigned char const*& data,
                                  std::size_t& size, Outcome& outcome) {
    using Step = Tm_chunk_reader::Step;
    Step const step = connection.reader.next(data, size);
    if (step == Step::header) begin_chunk(connection, outcome);
    if (step == Step::payload) add_payload(connection, outcome);
    if (step == Step::end) end_chunk(connection, outcome);
    return step != Step::need_input;
}

void Tm_chunk_receiver::hand_out(Connection const& connection, Outcome& outcome) const {
    if (outcome.message != nullptr) {
        Tm_header const last_chunk = outcome.message->header;
        if (on_message_) on_message_(std::move(outcome.message), connection.originator, last_chunk);
    } else if (!outcome.error.empty() && on_error_) {
        on_error_(connection.originator, connection.seq_no(), outcome.error);
    }
}

void Tm_chunk_receiver::begin_chunk(Connection& connection, Outcome& outcome) {
    Tm_header const& header = connection.reader.header();
    bool const is_first = header.get_first_chunk();
    if (is_first) {
        connection.refused.erase(connection.seq_no());
        outcome.error = break_off(connection);
    } else if (connection.ignores_chunk()) {
        return;
    }
    std::string error =
        tm_chunk_error(header, message_of(connection) != nullptr, connection.unfinished, limits_);
    if (error.empty()) {
        if (is_first) begin_message(connection);
        return;
    }
    outcome.error = std::move(error);
    if (is_first) ignore_rest(connection);
}

/// Drops the unfinished message that has the sequence number of a new one. Returns its error text,
/// or an empty text when there is none.
std::string Tm_chunk_receiver::break_off(Connection& connection) {
    Unfinished const message = take_message(connection);
    return message == nullptr ? std::string() : text_of_unfinished(*message);
}

/// Returns the error text of a message that gets no further chunks.
std::string Tm_chunk_receiver::text_of_unfinished(MessageChunk& message) {
    message.finalize();
    return message.hasError() ? message.error() : Tm_chunk_reader::NO_LAST_CHUNK;
}

void Tm_chunk_receiver::begin_message(Connection& connection) {
    try {
        auto message =
            std::make_unique<MessageChunk>(connection.seq_no(), connection.originator, limits_);
        messages_.putChunk(message.release());
        ++connection.unfinished;
    } catch (std::bad_alloc const&) {
        ignore_rest(connection);
        throw;
    }
}

void Tm_chunk_receiver::add_payload(Connection& connection, Outcome& outcome) {
    MessageChunk* const message = message_of(connection);
    if (message == nullptr) return;
    bool is_whole = false;
    try {
        is_whole = add_what_fits(connection, *message);
    } catch (std::bad_alloc const&) {
        take_message(connection);
        ignore_rest(connection);
        throw;
    } catch (std::exception const&) {
        // The decoder has made the text of the exception its error text.
    }
    if (is_whole && !message->hasError()) return;
    Unfinished const refused = take_message(connection);
    outcome.error = refused->hasError() ? refused->error() : tm_too_much_held(limits_);
    ignore_rest(connection);
}

/// Adds bytes until the message has an error or too many bytes are held. Returns true when all were
/// added. The contents of files do not count, so the result does not depend on how the input was
/// cut.
bool Tm_chunk_receiver::add_what_fits(Connection& connection, MessageChunk& message) const {
    unsigned char const* data = connection.reader.payload();
    std::size_t left = connection.reader.payload_size();
    std::size_t& held = connection.held_bytes;
    while (left > 0 && held < limits_.max_held_bytes && !message.hasError()) {
        std::size_t const part = std::min(left, limits_.max_held_bytes - held);
        Recount const recount(held, message);
        message.addBuffer(data, static_cast<unsigned int>(part));
        data += part;
        left -= part;
    }
    return left == 0;
}

/// Ignores the rest of at most max_unfinished messages, so that a stranger cannot fill memory.
void Tm_chunk_receiver::ignore_rest(Connection& connection) const {
    bool const goes_on = !connection.reader.header().get_last_chunk();
    if (goes_on && connection.refused.size() < limits_.max_unfinished) {
        connection.refused[connection.seq_no()] = MessageChunk::IDLE_LIMIT;
    }
}

void Tm_chunk_receiver::end_chunk(Connection& connection, Outcome& outcome) {
    if (!connection.reader.header().get_last_chunk()) return;
    connection.refused.erase(connection.seq_no());
    Unfinished finished = take_message(connection);
    if (finished == nullptr) return;
    finished->finalize();
    if (finished->hasError()) {
        outcome.error = finished->error();
        return;
    }
    outcome.message.reset(finished->releaseMessage());
    outcome.message->header = connection.reader.header();
    // The message owns its files from now on: do not remove them.
    std::unique_ptr<MessageChunk> const emptied(finished.release());
}

/// Returns null when no chunk has begun the message.
MessageChunk* Tm_chunk_receiver::message_of(Connection const& connection) {
    return messages_.findChunk(connection.seq_no(), connection.originator, false);
}

/// Takes the message of the current chunk out of the container. Returns null when there is none.
Tm_chunk_receiver::Unfinished Tm_chunk_receiver::take_message(Connection& connection) {
    Unfinished message(messages_.findChunk(connection.seq_no(), connection.originator, true));
    if (message != nullptr) connection.give_up(*message);
    return message;
}

void Tm_chunk_receiver::forget(int originator) {
    auto const known = connections_.find(originator);
    if (known == connections_.end()) return;
    known->second->is_forgotten = true;
    messages_.takeAllOf(originator,
                        [](std::unique_ptr<MessageChunk> one) { Unfinished(one.release()); });
    connections_.erase(known);
}

/// Makes all texts first, so that a failing allocation forgets nothing.
void Tm_chunk_receiver::finish(int originator) {
    auto const known = connections_.find(originator);
    if (known == connections_.end()) return;
    std::vector<std::pair<unsigned int, std::string>> reports;
    messages_.forEach([&](MessageChunk& message) {
        if (message.getOriginator() != originator) return;
        reports.emplace_back(message.getSeqNo(), text_of_unfinished(message));
    });
    if (known->second->reader.is_within_header()) reports.emplace_back(0U, cut_header_text);
    forget(originator);
    if (!on_error_) return;
    for (auto const& [seq_no, text] : reports) on_error_(originator, seq_no, text);
}

/// Allocates everything first, so that a failing allocation drops no message without a report.
void Tm_chunk_receiver::collect_garbage() {
    std::vector<std::pair<int, unsigned int>> dropped;
    dropped.reserve(messages_.size());
    std::string const text = idle_text;
    messages_.takeExpired([&](std::unique_ptr<MessageChunk> expired) {
        Unfinished const message(expired.release());
        dropped.emplace_back(message->getOriginator(), message->getSeqNo());
        connections_.find(message->getOriginator())->second->give_up(*message);
    });
    for (auto const& [originator, connection] : connections_) connection->age();
    if (!on_error_) return;
    for (auto const& [originator, seq_no] : dropped) on_error_(originator, seq_no, text);
}
