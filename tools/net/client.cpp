/// One client of the server.
#include "net/client.h"

#include <algorithm>
#include <cerrno>

namespace {

constexpr int chunk_size = 4096;
constexpr std::size_t block_size = 1 << 16;
/// The bytes that are passed on at a time. They limit the replies that are made while the other end
/// takes none.
constexpr std::size_t slice_size = 1024;

bool is_not_ready() { return errno == EWOULDBLOCK || errno == EAGAIN || errno == EINTR; }

[[noreturn]] void lose(std::string const& what) {
    throw Lost_connection(Failure::of_system(what).what());
}

}  // namespace

bool Client::accept(ACE_SOCK_Acceptor& acceptor) {
    if (acceptor.accept(stream_) != 0) return false;
    move_above_standard(stream_);
    stream_.enable(ACE_NONBLOCK);
    return true;
}

bool Client::is_ready() const {
    pollfd handle = {this->handle(), awaited(), 0};
    return ::poll(&handle, 1, 0) == 1;
}

bool Client::go_on(Tm_chunk_receiver& receiver) {
    if (unsent() == 0) return receive(receiver);
    send_unsent();
    std::size_t const passed = pass(unread_.data(), unread_.size(), receiver);
    unread_.erase(unread_.begin(), unread_.begin() + static_cast<std::ptrdiff_t>(passed));
    return true;
}

bool Client::receive(Tm_chunk_receiver& receiver) {
    unsigned char block[block_size];
    ssize_t const got = stream_.recv(block, sizeof block);
    if (got < 0 && is_not_ready()) return true;
    if (got < 0) lose("failed to receive");
    if (got == 0) return false;
    last_active_ = Clock::now();
    std::size_t const passed = pass(block, static_cast<std::size_t>(got), receiver);
    unread_.assign(block + passed, block + got);
    return true;
}

/// Returns the number of bytes that were passed on before a reply had to wait.
std::size_t Client::pass(unsigned char const* data, std::size_t size,
                         Tm_chunk_receiver& receiver) const {
    std::size_t passed = 0;
    while (passed < size && unsent() == 0) {
        std::size_t const slice = std::min(size - passed, slice_size);
        receiver.receive(handle(), data + passed, slice);
        passed += slice;
    }
    return passed;
}

void Client::send(Message const& message, unsigned int seq_no, unsigned char port) {
    Tm_chunk_sender(chunk_size)
        .send(message, seq_no, port, [&](unsigned char const* chunk, std::size_t size) {
            unsent_.append(reinterpret_cast<char const*>(chunk), size);
            if (unsent() >= block_size) send_unsent();
            return true;
        });
    send_unsent();
}

void Client::send_unsent() {
    while (unsent() > 0) {
        ssize_t const done = stream_.send(unsent_.data() + sent_, unsent());
        if (done < 0 && is_not_ready()) break;
        if (done < 0) lose("failed to send");
        sent_ += static_cast<std::size_t>(done);
        last_active_ = Clock::now();
    }
    if (unsent() == 0) {
        std::string().swap(unsent_);
        sent_ = 0;
    } else if (sent_ > unsent()) {
        unsent_.erase(0, sent_);
        sent_ = 0;
    }
}
