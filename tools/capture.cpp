#include "capture.h"

#include <cstdio>

#include "output.h"
#include "style.h"

namespace {

constexpr char const* no_last_chunk = "message without a last chunk";
constexpr char const* unknown_message = "chunk continues no known message";

std::string too_many(Tm_limits const& limits) {
    return "more than " + std::to_string(limits.max_unfinished) + " unfinished messages";
}

void write_row(std::size_t row, Chunk const& chunk, std::string const& error) {
    if (row == 1) write_output(" chunk     offset   length  first  last  port   sequence\n");
    Tm_header const& header = chunk.header;
    char text[160];
    std::snprintf(text, sizeof text, "%6zu %10zu %8u  %-5s  %-4s %5u %10u", row, chunk.offset,
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
    std::string missing = no_last_chunk;
    try {
        for (Chunk chunk; read_chunk_header(input, chunk);) read_chunk(input, chunk);
    } catch (Failure const& failure) {
        missing = failure.what();
        note(missing);
        write_output(painted(Colour::red, missing) + "\n");
    }
    while (!unfinished_.empty()) end_message(unfinished_.begin(), missing);
}

/// The message of the chunk, which its first one begins.
Capture::Messages::iterator Capture::message_of(Tm_header const& header) {
    unsigned int const seq_no = header.get_seq_no();
    auto const found = unfinished_.find(seq_no);
    if (!header.get_first_chunk()) return found;
    if (found != unfinished_.end()) end_message(found, no_last_chunk);
    bool const has_room = header.get_last_chunk() || unfinished_.size() < limits_.max_unfinished;
    if (has_room) begin_message(seq_no);
    return unfinished_.find(seq_no);
}

void Capture::read_chunk(Input& input, Chunk const& chunk) {
    Tm_header const& header = chunk.header;
    auto const found = message_of(header);
    bool const is_known = found != unfinished_.end();
    std::string const unplaced = header.get_first_chunk() ? too_many(limits_) : unknown_message;
    std::string const error = is_known ? "" : unplaced;
    write_row(++row_, chunk, error);
    note(error);
    if (is_known) ++found->second.chunks;
    read_chunk_payload(input, chunk, [&](unsigned char const* data, std::size_t size) {
        if (!is_known) return;
        Unfinished& message = found->second;
        message.bytes += size;
        if (!message.decoder->error().empty()) return;
        message.last_offset = chunk.offset;
        message.decoder->feed(data, size);
        note(message.decoder->error());
    });
    if (is_known && header.get_last_chunk()) end_message(found, "");
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
