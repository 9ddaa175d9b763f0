/// One client of the server.
#include "net/client.h"

#include <algorithm>

#include "net/poll.h"

namespace {

constexpr int chunk_size = 4096;
/// The bytes that are passed on at a time. They limit the replies that are made while the other end
/// takes none.
constexpr std::size_t slice_size = 1024;
/// When more bytes of replies wait for their time, the client reads no more requests.
constexpr std::size_t most_delayed = 1 << 20;

[[noreturn]] void lose(std::string const& what) {
    throw Lost_connection(Failure::of_system(what).what());
}

}  // namespace

bool Client::is_ready() const {
    pollfd handle = {this->handle(), awaited(), 0};
    return handle.events != 0 && ::poll(&handle, 1, 0) == 1;
}

bool Client::has_room() const { return sendable() == 0 && delayed_bytes_ < most_delayed; }

bool Client::reads() const { return !is_ended_ && has_room() && unread_.empty(); }

bool Client::go_on(Tm_chunk_receiver& receiver) {
    if (reads()) {
        receive(receiver);
    } else {
        send_unsent();
        std::size_t const passed = pass(unread_.data(), unread_.size(), receiver);
        unread_.erase(unread_.begin(), unread_.begin() + static_cast<std::ptrdiff_t>(passed));
    }
    return !is_ended_ || unsent() > 0;
}

void Client::receive(Tm_chunk_receiver& receiver) {
    unsigned char block[block_size];
    ssize_t const got = stream_.recv(block, sizeof block);
    if (got < 0 && is_not_ready()) return;
    if (got < 0) lose("failed to receive");
    if (got == 0) {
        is_ended_ = true;
        return;
    }
    keep_awake();
    std::size_t const passed = pass(block, static_cast<std::size_t>(got), receiver);
    unread_.assign(block + passed, block + got);
}

/// Returns the number of bytes that were passed on before a reply had to wait.
std::size_t Client::pass(unsigned char const* data, std::size_t size,
                         Tm_chunk_receiver& receiver) const {
    std::size_t passed = 0;
    while (passed < size && has_room()) {
        std::size_t const slice = std::min(size - passed, slice_size);
        receiver.receive(handle(), data + passed, slice);
        passed += slice;
    }
    return passed;
}

void Client::send(Message const& message, unsigned int seq_no, unsigned char port,
                  Clock::time_point time) {
    bool const is_delayed = !delayed_.empty() || time > Clock::now();
    if (is_delayed) delayed_.push_back({time, 0});
    Tm_chunk_sender(chunk_size)
        .send(message, seq_no, port, [&](unsigned char const* chunk, std::size_t size) {
            unsent_.append(reinterpret_cast<char const*>(chunk), size);
            if (is_delayed) {
                delayed_.back().bytes += size;
                delayed_bytes_ += size;
            } else if (unsent() >= block_size) {
                send_unsent();
            }
            return true;
        });
    send_unsent();
}

void Client::release_due() {
    auto const now = Clock::now();
    for (; !delayed_.empty() && delayed_.front().time <= now; delayed_.pop_front()) {
        delayed_bytes_ -= delayed_.front().bytes;
        keep_awake();
    }
}

void Client::send_unsent() {
    while (sendable() > 0) {
        ssize_t const done = stream_.send(unsent_.data() + sent_, sendable());
        if (done < 0 && is_not_ready()) break;
        if (done < 0) lose("failed to send");
        sent_ += static_cast<std::size_t>(done);
        keep_awake();
    }
    if (unsent() == 0) {
        std::string().swap(unsent_);
        sent_ = 0;
    } else if (sent_ > unsent()) {
        unsent_.erase(0, sent_);
        sent_ = 0;
    }
}
