/// Reads chunks, and messages in chunks.
#pragma once

#include <tmsg/tmsg.h>

#include <cstddef>
#include <deque>
#include <map>
#include <memory>

#include "forms/form_reader.h"
#include "io/input.h"

/// Reads the chunks of an input, each with its 8-byte header.
class Chunk_input {
public:
    using Step = Tm_chunk_reader::Step;

    explicit Chunk_input(Input& input) : input_(input) {}

    /// Takes the next step and returns it. reader() has the header or payload of the step. Returns
    /// need_input at the end of the input. Throws Damage when the input ends within a chunk, and
    /// what Input::peek() throws.
    Step next();
    Tm_chunk_reader const& reader() const { return reader_; }
    /// Returns the number of bytes that were taken from the input.
    std::size_t offset() const { return input_.offset(); }

private:
    Input& input_;
    Tm_chunk_reader reader_;
};

/// The places in the input of the bytes of a message in chunks.
class Chunk_places {
public:
    /// Adds `size` bytes that are at `place` in the input.
    void add(std::size_t place, std::size_t size);
    /// Forgets the pieces before this byte of the message.
    void forget_before(std::size_t at);
    /// Returns the place of a byte of the message, or the end of the last piece.
    std::size_t place_of(std::size_t at) const;
    /// Returns the number of bytes that were added.
    std::size_t size() const { return size_; }

private:
    struct Piece {
        std::size_t begin;  ///< in the message
        std::size_t place;  ///< in the input
    };

    std::deque<Piece> pieces_;
    std::size_t size_ = 0;
};

/// Reads messages in chunks. The chunks of several messages may be interleaved.
class Chunk_reader : public Form_reader {
public:
    Chunk_reader(Input& input, Tm_limits const& limits) : input_(input), limits_(limits) {}

    std::unique_ptr<Message> next(Temporary_files& files, Wire_sink const& sink) override;

private:
    struct Unfinished {
        explicit Unfinished(Tm_limits const& limits);
        Unfinished(Unfinished const&) = delete;
        Unfinished& operator=(Unfinished const&) = delete;
        /// Removes the files of a message that was not finished.
        ~Unfinished();

        Tm_bin_decoder decoder;
        bool is_finished = false;
        std::size_t begin = 0;  ///< the place of the first chunk
        Chunk_places places;
    };

    void begin_chunk();
    void add_payload(Unfinished& message) const;
    std::unique_ptr<Message> end_message(Unfinished& message, Temporary_files& files);
    Tm_header const& header() const { return chunks_.reader().header(); }

    Input& input_;
    Tm_limits limits_;
    Chunk_input chunks_{input_};
    std::map<unsigned int, Unfinished> unfinished_;
};
