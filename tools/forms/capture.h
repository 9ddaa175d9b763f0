/// Shows captures: the chunks in a table, and each message as a tree.
#pragma once

#include <tmsg/tmsg.h>

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "forms/chunk_reader.h"
#include "forms/place.h"
#include "forms/tree.h"
#include "io/input.h"

/// Shows the chunks of an input, and each message below its last chunk. Goes on after a damaged
/// message.
class Capture {
public:
    Capture(Input& input, Tm_limits const& limits) : chunks_(input), limits_(limits) {}

    /// Reads all chunks and writes to standard output. Returns the first damage, if there is any.
    /// Throws Failure when reading or writing fails.
    std::optional<Damage> show();
    /// Returns whether a message was without damage.
    bool has_sound_message() const { return has_sound_message_; }

private:
    struct Unfinished {
        std::unique_ptr<Tree_decoder> decoder;
        std::string lines;
        std::size_t chunks = 0;
        std::size_t last_offset = 0;  ///< the offset of the last chunk that was decoded
        Chunk_places places;
    };
    using Messages = std::map<unsigned int, Unfinished>;
    using Step = Tm_chunk_reader::Step;

    void take(Step step);
    void begin_chunk();
    void add_payload(Unfinished& message);
    void begin_message(unsigned int seq_no);
    void end_message(Messages::iterator message, std::string const& error);
    void write_row(std::string const& error);
    void note(Place const& place, std::string const& error);
    Tm_chunk_reader const& chunk() const { return chunks_.reader(); }

    Chunk_input chunks_;
    Tm_limits limits_;
    Messages unfinished_;
    std::size_t row_ = 0;
    bool needs_heading_ = true;
    bool has_sound_message_ = false;
    std::optional<Damage> damage_;
};
