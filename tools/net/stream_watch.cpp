/// Counts and decodes the chunks of a stream.
#include "net/stream_watch.h"

#include <new>
#include <utility>

namespace {

/// The receiver has one stream only.
constexpr int stream = 0;

}  // namespace

Stream_watch::Stream_watch(On_message on_message, On_damage on_damage, On_blind on_blind,
                           Tm_limits const& limits)
    : on_message_(std::move(on_message)),
      on_damage_(std::move(on_damage)),
      on_blind_(std::move(on_blind)),
      most_unfinished_(limits.max_unfinished),
      receiver_(
          [this](std::unique_ptr<Message> message, int, Tm_header const& header) {
              take(std::move(message), header);
          },
          [this](int, unsigned int seq_no, std::string const& text) { take_error(seq_no, text); },
          limits) {}

void Stream_watch::add(unsigned char const* data, std::size_t size) {
    using Step = Tm_chunk_reader::Step;
    for (Step step; !is_blind_ && (step = reader_.next(data, size)) != Step::need_input;) {
        if (step == Step::header) begin_chunk();
        if (step == Step::payload) decode(reader_.payload(), reader_.payload_size());
    }
}

/// Counts the chunk. At most as many messages are counted as the receiver keeps.
void Stream_watch::begin_chunk() {
    Tm_header const& header = reader_.header();
    std::size_t const size = header.get_size() + header.get_length();
    auto const counted = bytes_.find(header.get_seq_no());
    bool const is_first = header.get_first_chunk();
    is_stray_ = !is_first && counted == bytes_.end();
    if (!is_first && !is_stray_) counted->second += size;
    // The message of an earlier chunk with this number may end here, with an error.
    decode(header.record().bytes, header.get_size());
    is_stray_ = false;
    bool const is_whole = header.get_last_chunk() && header.get_length() == 0;
    if (is_first && !is_whole && bytes_.size() < most_unfinished_) {
        bytes_[header.get_seq_no()] = size;
    }
}

void Stream_watch::decode(unsigned char const* data, std::size_t size) {
    try {
        receiver_.receive(stream, data, size);
    } catch (std::bad_alloc const&) {
        take_error(reader_.header().get_seq_no(), "out of memory");
    }
}

void Stream_watch::take(std::unique_ptr<Message> message, Tm_header const& header) {
    auto const counted = bytes_.find(header.get_seq_no());
    std::size_t bytes = 0;
    if (counted != bytes_.end()) {
        bytes = counted->second;
        bytes_.erase(counted);
    }
    on_message_(std::move(message), bytes);
}

void Stream_watch::take_error(unsigned int seq_no, std::string const& text) {
    bytes_.erase(seq_no);
    if (!is_stray_) return on_damage_(reader_.offset(), seq_no, text);
    is_blind_ = true;
    receiver_.forget(stream);
    on_blind_(reader_.offset(), text);
}

void Stream_watch::finish() {
    if (!is_blind_) receiver_.finish(stream);
}
