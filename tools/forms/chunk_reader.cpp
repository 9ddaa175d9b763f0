#include "forms/chunk_reader.h"

#include <string>
#include <tuple>
#include <utility>

#include "forms/wire_reader.h"

namespace {

/// It is the capacity of Tm_chunk_receiver, because positions in error texts depend on it.
constexpr long capacity = 4096;

}  // namespace

Chunk_input::Step Chunk_input::next() {
    Step step = Step::need_input;
    do {
        std::string_view const bytes = input_.unread();
        auto const* data = reinterpret_cast<unsigned char const*>(bytes.data());
        std::size_t left = bytes.size();
        step = reader_.next(data, left);
        input_.take(bytes.size() - left);
    } while (step == Step::need_input && input_.read_more());
    if (step != Step::need_input) return step;
    Place const place = at_byte(reader_.offset());
    std::string const chunk = "the chunk at byte " + std::to_string(reader_.offset());
    if (reader_.is_within_header()) throw Damage(place, "input ends within the header of " + chunk);
    if (reader_.is_within_chunk()) throw Damage(place, "input ends within " + chunk);
    return step;
}

void Chunk_places::add(std::size_t place, std::size_t size) {
    pieces_.push_back({size_, place});
    size_ += size;
}

void Chunk_places::forget_before(std::size_t at) {
    while (pieces_.size() > 1 && pieces_[1].begin <= at) pieces_.pop_front();
}

std::size_t Chunk_places::place_of(std::size_t at) const {
    std::size_t place = 0;
    for (Piece const& piece : pieces_) {
        if (piece.begin <= at) place = piece.place + (at - piece.begin);
    }
    return place;
}

Chunk_reader::Unfinished::Unfinished(Tm_limits const& limits) : decoder(capacity, limits) {}

Chunk_reader::Unfinished::~Unfinished() {
    if (!is_finished) tm_remove_received_files(decoder.received_files());
}

std::unique_ptr<Message> Chunk_reader::next(Temporary_files& files, Wire_sink const&) {
    for (Chunk_input::Step step; (step = chunks_.next()) != Chunk_input::Step::need_input;) {
        if (step == Chunk_input::Step::header) begin_chunk();
        auto const message = unfinished_.find(header().get_seq_no());
        if (step == Chunk_input::Step::payload) add_payload(message->second);
        if (step != Chunk_input::Step::end || !header().get_last_chunk()) continue;
        auto result = end_message(message->second, files);
        unfinished_.erase(message);
        return result;
    }
    if (unfinished_.empty()) return nullptr;
    throw Damage(at_byte(input_.offset()), Tm_chunk_reader::NO_LAST_CHUNK);
}

void Chunk_reader::begin_chunk() {
    Place const place = at_byte(chunks_.reader().offset());
    unsigned int const seq_no = header().get_seq_no();
    bool const is_known = unfinished_.count(seq_no) > 0;
    if (is_known && header().get_first_chunk()) {
        throw Damage(place, Tm_chunk_reader::NO_LAST_CHUNK);
    }
    std::string const error = tm_chunk_error(header(), is_known, unfinished_.size(), limits_);
    if (!error.empty()) throw Damage(place, error);
    if (is_known) return;
    unfinished_.emplace(std::piecewise_construct, std::forward_as_tuple(seq_no),
                        std::forward_as_tuple(limits_));
    unfinished_.at(seq_no).begin = place.byte;
}

void Chunk_reader::add_payload(Unfinished& message) const {
    unsigned char const* const data = chunks_.reader().payload();
    std::size_t const size = chunks_.reader().payload_size();
    message.places.add(input_.offset() - size, size);
    decode_with([&] { message.decoder.feed(data, size); });
    auto const item = static_cast<std::size_t>(message.decoder.item_offset());
    if (message.decoder.error().empty()) return message.places.forget_before(item);
    throw Damage(at_byte(message.places.place_of(item)), message.decoder.error());
}

std::unique_ptr<Message> Chunk_reader::end_message(Unfinished& message, Temporary_files& files) {
    std::size_t const damage = place_of_end(message.decoder, message.places.size());
    message.decoder.finalize();
    if (!message.decoder.error().empty()) {
        throw Damage(at_byte(message.places.place_of(damage)), message.decoder.error());
    }
    begin_ = at_byte(message.begin);
    files.add(message.decoder.received_files());
    message.is_finished = true;
    std::unique_ptr<Message> result(message.decoder.release_msg());
    result->header = header();
    return result;
}
