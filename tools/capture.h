/// Chunks that were captured, of any number of messages: a table of the chunks as they are read,
/// then each message as a tree.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "chunk_input.h"
#include "spool.h"
#include "tree_decoder.h"

class Capture {
public:
    explicit Capture(Tm_limits const& limits) : limits_(limits) {}

    /// Writes the table. Damage is noted, not thrown.
    void read(Input& input);
    void write_trees();
    /// The first of all errors; empty when there was none.
    std::string const& error() const { return error_; }

private:
    /// A message in the order of the first chunks, with all that is printed of it.
    struct Tree {
        std::string title;
        Spool::Text lines;
        std::string damage;
    };
    struct Unfinished {
        std::unique_ptr<Tree_decoder> decoder;
        Tree* tree = nullptr;
        std::size_t chunks = 0;
        std::size_t bytes = 0;
        std::size_t last_offset = 0;  ///< of the chunk that was fed last
    };
    using Messages = std::map<unsigned int, Unfinished>;
    using Step = Tm_chunk_reader::Step;

    void take(Step step, Tm_chunk_reader const& chunk);
    void begin_chunk(Tm_chunk_reader const& chunk);
    void add_payload(Unfinished& message, Tm_chunk_reader const& chunk);
    void begin_message(unsigned int seq_no);
    /// With the error if the decoder had none.
    void end_message(Messages::iterator message, std::string const& error);
    void note(std::string const& error);

    Tm_limits limits_;
    Spool lines_;  ///< of all trees
    Messages unfinished_;
    std::vector<std::unique_ptr<Tree>> trees_;
    std::size_t row_ = 0;
    std::string error_;
};
