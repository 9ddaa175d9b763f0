/// Reads captures and shows their chunks and messages.
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
#include "forms/view.h"
#include "io/input.h"

/// Shows the chunks of an input, and each message below its last chunk. Goes on after a damaged
/// message.
class Capture {
public:
    Capture(Input& input, Tm_limits const& limits, View& view)
        : chunks_(input), limits_(limits), view_(view) {}

    /// Reads and shows all chunks. Returns the first damage, if there is any. Throws Failure when
    /// reading fails, and what the view throws.
    std::optional<Damage> show();
    /// Returns whether a message was without damage.
    bool has_sound_message() const { return has_sound_message_; }

private:
    struct Unfinished {
        std::string rows;
        std::unique_ptr<Tree_decoder> decoder;
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
    void note(Place const& place, std::string const& error);
    Tm_chunk_reader const& chunk() const { return chunks_.reader(); }

    Chunk_input chunks_;
    Tm_limits limits_;
    View& view_;
    Messages unfinished_;
    bool has_sound_message_ = false;
    std::optional<Damage> damage_;
};
