#include "forms/capture.h"

#include <string_view>

std::optional<Damage> Capture::show() {
    std::string missing = Tm_chunk_reader::NO_LAST_CHUNK;
    try {
        for (Step step; (step = chunks_.next()) != Step::need_input;) take(step);
    } catch (Damage const& damage) {
        missing = damage.what();
        note(damage.place(), missing);
        view_.damage(damage.place().byte, missing);
    }
    while (!unfinished_.empty()) end_message(unfinished_.begin(), missing);
    return damage_;
}

/// Keeps the first damage only.
void Capture::note(Place const& place, std::string const& error) {
    if (!damage_) damage_.emplace(place, error);
}

void Capture::take(Step step) {
    if (step == Step::header) begin_chunk();
    auto const found = unfinished_.find(chunk().header().get_seq_no());
    if (found == unfinished_.end()) return;
    if (step == Step::payload) add_payload(found->second);
    if (step == Step::end && chunk().header().get_last_chunk()) end_message(found, "");
}

void Capture::begin_chunk() {
    Tm_header const& header = chunk().header();
    unsigned int const seq_no = header.get_seq_no();
    auto const found = unfinished_.find(seq_no);
    bool const is_known = found != unfinished_.end();
    bool const is_first = header.get_first_chunk();
    if (is_first && is_known) end_message(found, Tm_chunk_reader::NO_LAST_CHUNK);
    std::string const error = tm_chunk_error(header, is_known, unfinished_.size(), limits_);
    view_.chunk(chunk().offset(), header, error);
    if (!error.empty()) return note(at_byte(chunk().offset()), error);
    if (is_first) begin_message(seq_no);
    ++unfinished_[seq_no].chunks;
}

void Capture::add_payload(Unfinished& message) {
    std::string_view const payload(reinterpret_cast<char const*>(chunk().payload()),
                                   chunk().payload_size());
    message.places.add(chunks_.offset() - payload.size(), payload.size());
    if (!message.decoder->error().empty()) return;
    message.last_offset = chunk().offset();
    message.decoder->feed(payload);
    std::size_t const place = message.decoder->error_offset();
    message.places.forget_before(place);
    std::string const& error = message.decoder->error();
    if (!error.empty()) note(at_byte(message.places.place_of(place)), error);
}

void Capture::begin_message(unsigned int seq_no) {
    Unfinished& message = unfinished_[seq_no];
    message.decoder = std::make_unique<Tree_decoder>(view_.collect(message.rows), limits_);
}

/// Shows the tree of a message, and behind it the damage that the decoder found, or else `error`.
void Capture::end_message(Messages::iterator message, std::string const& error) {
    Unfinished& ended = message->second;
    bool const is_damaged = !ended.decoder->error().empty();
    ended.decoder->finish();
    view_.end_message({message->first, ended.places.size(), ended.chunks, ended.rows});
    std::string const damage = error.empty() || is_damaged ? ended.decoder->error() : error;
    std::size_t const place = ended.decoder->error_offset();
    if (damage.empty()) {
        has_sound_message_ = true;
    } else {
        std::size_t const in_input = ended.places.place_of(place);
        note(at_byte(in_input), damage);
        view_.damage(in_input, "damaged at byte " + std::to_string(place) +
                                   " of the message, chunk at byte " +
                                   std::to_string(ended.last_offset) + ": " + damage);
    }
    unfinished_.erase(message);
}
