#include "capture.h"

#include <cstdio>

#include "output.h"
#include "style.h"

namespace {

void write_row(std::size_t row, Tm_chunk_reader const& chunk, std::string const& error) {
    if (row == 1) write_output(" chunk     offset   length  first  last  port   sequence\n");
    Tm_header const& header = chunk.header();
    char text[160];
    std::snprintf(text, sizeof text, "%6zu %10zu %8u  %-5s  %-4s %5u %10u", row, chunk.offset(),
                  header.get_length(), header.get_first_chunk() ? "first" : "-",
                  header.get_last_chunk() ? "last" : "-", header.get_tmport(), header.get_seq_no());
    write_output(text);
    if (!error.empty()) write_output(painted(Colour::red, "  " + error));
    write_output("\n");
}

}  // namespace

void Capture::note(std::string const& error) {
    if (error_.empty()) error_ = error;
}

void Capture::read(Input& input) {
    std::string missing = Tm_chunk_reader::NO_LAST_CHUNK;
    try {
        Chunk_input chunks(input);
        for (Step step; (step = chunks.next()) != Step::need_input;) take(step, chunks.reader());
    } catch (Failure const& failure) {
        missing = failure.what();
        note(missing);
        write_output(painted(Colour::red, missing) + "\n");
    }
    while (!unfinished_.empty()) end_message(unfinished_.begin(), missing);
}

void Capture::take(Step step, Tm_chunk_reader const& chunk) {
    if (step == Step::header) begin_chunk(chunk);
    auto const found = unfinished_.find(chunk.header().get_seq_no());
    if (found == unfinished_.end()) return;
    if (step == Step::payload) add_payload(found->second, chunk);
    if (step == Step::end && chunk.header().get_last_chunk()) end_message(found, "");
}

void Capture::begin_chunk(Tm_chunk_reader const& chunk) {
    Tm_header const& header = chunk.header();
    unsigned int const seq_no = header.get_seq_no();
    auto const found = unfinished_.find(seq_no);
    bool const is_known = found != unfinished_.end();
    bool const is_first = header.get_first_chunk();
    if (is_first && is_known) end_message(found, Tm_chunk_reader::NO_LAST_CHUNK);
    std::string const error = tm_chunk_error(header, is_known, unfinished_.size(), limits_);
    write_row(++row_, chunk, error);
    note(error);
    if (!error.empty()) return;
    if (is_first) begin_message(seq_no);
    ++unfinished_[seq_no].chunks;
}

void Capture::add_payload(Unfinished& message, Tm_chunk_reader const& chunk) {
    message.bytes += chunk.payload_size();
    if (!message.decoder->error().empty()) return;
    message.last_offset = chunk.offset();
    message.decoder->feed(chunk.payload(), chunk.payload_size());
    note(message.decoder->error());
}

void Capture::begin_message(unsigned int seq_no) {
    trees_.push_back(std::make_unique<Tree>());
    Unfinished& message = unfinished_[seq_no];
    message.tree = trees_.back().get();
    message.decoder = std::make_unique<Tree_decoder>(
        Tree_lines::Offsets::hidden,
        [this, tree = message.tree](std::string_view text) { lines_.append(tree->lines, text); },
        limits_);
}

void Capture::end_message(Messages::iterator message, std::string const& error) {
    Unfinished& ended = message->second;
    Tree& tree = *ended.tree;
    bool const is_damaged = !ended.decoder->error().empty();
    ended.decoder->finish();
    tree.title = "message " + std::to_string(message->first) + ": " + std::to_string(ended.bytes) +
                 " bytes in " + std::to_string(ended.chunks) +
                 (ended.chunks == 1 ? " chunk" : " chunks");
    tree.damage = error.empty() || is_damaged ? ended.decoder->error() : error;
    if (!tree.damage.empty()) {
        note(tree.damage);
        tree.damage = "damaged at byte " + std::to_string(ended.decoder->error_offset()) +
                      " of the message, chunk at byte " + std::to_string(ended.last_offset) + ": " +
                      tree.damage;
    }
    unfinished_.erase(message);
    lines_.put_away(tree.lines);
}

void Capture::write_trees() {
    for (auto const& tree : trees_) {
        write_output("\n" + tree->title + "\n");
        lines_.write(tree->lines);
        if (!tree->damage.empty()) write_output(painted(Colour::red, tree->damage) + "\n");
    }
}
