/// What the verb inspect shows, in any form of output.
#pragma once

#include <tmsg/tmsg.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "forms/tree.h"

/// A message in chunks that has ended.
struct Ended_message {
    unsigned int seq_no;
    std::size_t size;
    std::size_t chunks;
    std::string const& rows;  ///< what the sink of View::collect() has added
};

/// Returns "message N: N bytes in N chunks".
std::string text_of(Ended_message const& message);

/// Shows inputs one after another. All functions throw what write_output() throws.
class View {
public:
    virtual ~View() = default;

    virtual void begin_input(std::string const& name) = 0;
    /// `failure` is what is wrong with the input, or empty.
    virtual void end_input(std::string_view failure) = 0;
    /// Call it after the last input.
    virtual void finish() = 0;

    /// Gets the bytes of the input, or those of the wire form of a text.
    virtual void bytes(std::string_view bytes) = 0;
    /// Begins a message of the wire form at this byte of the input.
    virtual std::unique_ptr<Tree_sink> begin_wire_message(std::size_t offset) = 0;
    /// Begins a message of a text. Its bytes are not in the input.
    virtual std::unique_ptr<Tree_sink> begin_text_message() = 0;
    /// Gets each chunk. `error` is what is wrong with its header, or empty.
    virtual void chunk(std::size_t offset, Tm_header const& header, std::string const& error) = 0;
    /// Returns a sink that adds the rows of a message in chunks to `rows`.
    virtual std::unique_ptr<Tree_sink> collect(std::string& rows) = 0;
    virtual void end_message(Ended_message const& message) = 0;
    /// Gets damage at a byte of the input, below the message that has it. `text` is the whole line.
    virtual void damage(std::size_t place, std::string const& text) = 0;
};
