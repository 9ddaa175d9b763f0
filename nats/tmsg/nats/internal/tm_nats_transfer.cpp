#include "tmsg/nats/internal/tm_nats_transfer.h"

#include <algorithm>
#include <new>
#include <utility>

#include "tmsg/message/tm_children.h"
#include "tmsg/nats/internal/tm_nats_frames.h"

Tm_nats_sending::Tm_nats_sending(Tm_nats_link& link, Message const& message, unsigned int seq_no,
                                 std::size_t chunk_size, std::string reply)
    : link_(link), reply_(std::move(reply)) {
    auto const port = static_cast<unsigned char>(message.header.get_tmport());
    std::size_t const size = std::min(chunk_size, link.most_chunk_payload());
    source_.emplace(message, seq_no, port, static_cast<int>(size));
}

Tm_nats_sending::Step Tm_nats_sending::send_to(std::string const& peer, std::uint32_t allowed) {
    std::lock_guard<std::mutex> const lock(mutex_);
    if (is_finished_) return Step::finished;
    while (next_ < allowed) {
        unsigned char const* chunk = nullptr;
        std::size_t size = 0;
        if (is_closed_ || !source_->next(chunk, size)) return Step::failed;
        if (!link_.publish(tm_nats_subject(peer, next_), reply_, chunk, size)) return Step::failed;
        ++next_;
        std::string_view const sent(reinterpret_cast<char const*>(chunk), size);
        is_finished_ = tm_nats_read_chunk(sent)->get_last_chunk();
        if (is_finished_) return Step::finished;
    }
    return Step::waits;
}

void Tm_nats_sending::close() {
    is_closed_ = true;
    std::lock_guard<std::mutex> const lock(mutex_);
    source_.reset();
}

Tm_nats_receiving::Tm_nats_receiving(std::string peer, unsigned int seq_no,
                                     Tm_nats_transfer_options const& options)
    : peer_(std::move(peer)),
      seq_no_(seq_no & Tm_header::MAX_SEQ_NO),
      window_(options.window),
      receiver_([this](std::unique_ptr<Message> message, int,
                       Tm_header const&) { message_ = std::move(message); },
                [this](int, unsigned int, std::string const& text) { error_ = text; },
                options.limits) {}

Tm_nats_receiving::~Tm_nats_receiving() {
    if (message_ != nullptr) tm_nats_remove_files(*message_);
}

Tm_nats_receiving::Step Tm_nats_receiving::take(std::uint32_t position, std::string_view chunk) {
    auto const header = tm_nats_read_chunk(chunk);
    bool const is_in_place = header && header->get_seq_no() == seq_no_ && position >= next_ &&
                             position < next_ + window_ &&
                             header->get_first_chunk() == (position == 0);
    if (!is_in_place || message_ != nullptr) return Step::ignored;
    if (position > next_) return Step::gap;
    ++next_;
    receiver_.receive(0, reinterpret_cast<unsigned char const*>(chunk.data()), chunk.size());
    if (message_ != nullptr) return Step::whole;
    return error_.empty() && !header->get_last_chunk() ? Step::more : Step::bad;
}

std::optional<std::uint32_t> Tm_nats_receiving::credit_due() {
    // Two messages for each window keep the sender busy.
    if (allowed_ > next_ + window_ / 2) return {};
    allowed_ = next_ + window_;
    return allowed_;
}

bool Tm_nats_whole_sender::send(Message const& message, unsigned int seq_no, std::size_t most,
                                Use const& use) {
    auto const port = static_cast<unsigned char>(message.header.get_tmport());
    auto buffer = take(most);
    auto const take_first = [&](unsigned char const* chunk, std::size_t size) {
        std::string_view const first(reinterpret_cast<char const*>(chunk), size);
        bool const is_whole = tm_nats_read_whole(first).has_value();
        if (is_whole) use(chunk, size);
        return is_whole;
    };
    bool const is_whole = buffer->sender.send(message, seq_no, port, take_first);
    keep(std::move(buffer));
    return is_whole;
}

std::unique_ptr<Tm_nats_whole_sender::Buffer> Tm_nats_whole_sender::take(std::size_t most) {
    {
        std::lock_guard<std::mutex> const lock(mutex_);
        // The payload limit may have changed with the server.
        if (!kept_.empty() && kept_.back()->most != most) kept_.clear();
        if (!kept_.empty()) {
            auto buffer = std::move(kept_.back());
            kept_.pop_back();
            return buffer;
        }
    }
    return std::make_unique<Buffer>(most);
}

void Tm_nats_whole_sender::keep(std::unique_ptr<Buffer> buffer) {
    std::lock_guard<std::mutex> const lock(mutex_);
    if (kept_.size() < most_kept) kept_.push_back(std::move(buffer));
}

void tm_nats_remove_files(Message const& message) noexcept {
    try {
        tm_remove_received_files(message);
    } catch (std::bad_alloc const&) {
        // They stay.
    }
}

namespace {

/// A word of a subject is neither empty nor a wildcard, and has no space or line end.
bool is_word(std::string_view word) {
    bool const has_space = std::any_of(word.begin(), word.end(), [](unsigned char character) {
        return character <= ' ' || character == 0x7F;
    });
    return !word.empty() && !has_space && word != "*" && word != ">";
}

bool is_subject_of_words(std::string_view subject) {
    for (std::size_t dot = subject.find('.'); dot != std::string_view::npos;
         dot = subject.find('.')) {
        if (!is_word(subject.substr(0, dot))) return false;
        subject.remove_prefix(dot + 1);
    }
    return is_word(subject);
}

}  // namespace

void tm_nats_check_published(std::string const& subject) {
    if (!is_subject_of_words(subject)) throw Tm_nats_exception("subject " + subject + " to call");
}

void tm_nats_check(Tm_nats_connection const& connection, Tm_nats_transfer_options const& transfer,
                   std::string const& subject) {
    if (connection.servers.empty()) throw Tm_nats_exception("no server");
    if (subject.empty()) throw Tm_nats_exception("no subject");
    if (!is_subject_of_words(connection.inbox_prefix)) {
        throw Tm_nats_exception("inbox prefix " + connection.inbox_prefix);
    }
    if (transfer.silence.count() <= 0) throw Tm_nats_exception("silence of no time");
    if (transfer.chunk_size == 0) throw Tm_nats_exception("chunk size 0");
    if (transfer.window < 1 || transfer.window > 1000) {
        throw Tm_nats_exception("window " + std::to_string(transfer.window) +
                                " out of range 1..1000");
    }
}

Tm_nats_exception::Tm_nats_exception(std::string const& text) : Tm_exception(text) {}
Tm_nats_exception::~Tm_nats_exception() = default;
