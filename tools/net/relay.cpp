/// Reads and writes without waiting.
#include "net/relay.h"

#include "net/poll.h"

namespace {

[[noreturn]] void lose_stream(std::string const& what) {
    throw Lost_stream(Failure::of_system(what).what());
}

}  // namespace

void Relay::read() {
    unsigned char block[block_size];
    ssize_t const got = from_.recv(block, sizeof block);
    if (got < 0 && is_not_ready()) return;
    if (got < 0) lose_stream("failed to receive");
    if (got == 0) return stop_reading();
    std::size_t const sent = send(block, static_cast<std::size_t>(got));
    waiting_.assign(block + sent, block + got);
}

void Relay::write() {
    sent_ += send(waiting_.data() + sent_, waiting_.size() - sent_);
    if (sent_ < waiting_.size()) return;
    std::vector<unsigned char>().swap(waiting_);
    sent_ = 0;
    if (is_ended_) pass_end();
}

/// Returns the number of bytes that the reader has taken.
std::size_t Relay::send(unsigned char const* data, std::size_t size) {
    std::size_t sent = 0;
    while (sent < size) {
        ssize_t const done = to_.send(data + sent, size - sent);
        if (done < 0 && is_not_ready()) break;
        if (done < 0) lose_stream("failed to send");
        on_passed_(data + sent, static_cast<std::size_t>(done));
        sent += static_cast<std::size_t>(done);
    }
    return sent;
}

void Relay::stop_reading() {
    is_ended_ = true;
    if (waiting_.empty()) pass_end();
}

void Relay::pass_end() {
    if (!is_over_) to_.close_writer();
    is_over_ = true;
}

void Relay::stop() {
    std::vector<unsigned char>().swap(waiting_);
    is_ended_ = true;
    is_over_ = true;
}
