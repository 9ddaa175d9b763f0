/// Reads messages: the chunks of an input, or the one message in it.
#pragma once

#include <tmsg/tmsg.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "forms/form.h"
#include "forms/writer.h"
#include "io/input.h"

/// Reads the chunks of an input, each with its 8-byte header.
class Chunk_input {
public:
    using Step = Tm_chunk_reader::Step;

    explicit Chunk_input(Input& input) : input_(input) {}

    /// Takes the next step and returns it. reader() has the header or payload of the step. Returns
    /// need_input at the end of the input. Throws Failure when the input ends within a chunk, and
    /// what Input::read() throws.
    Step next();
    /// Returns true when no input is left.
    bool is_at_end() { return left_ == 0 && !read_block(); }
    Tm_chunk_reader const& reader() const { return reader_; }

private:
    bool read_block();

    Input& input_;
    Tm_chunk_reader reader_;
    unsigned char block_[input_block];
    unsigned char const* data_ = nullptr;  ///< the unread rest of the block
    std::size_t left_ = 0;
};

/// Owns the files that messages brought. The destructor removes them.
class Temporary_files {
public:
    Temporary_files() = default;
    Temporary_files(Temporary_files const&) = delete;
    Temporary_files& operator=(Temporary_files const&) = delete;
    ~Temporary_files();

    void add(std::vector<std::string> const& paths);
    /// Adds the files of all file values in the message.
    void add(Message const& received);

private:
    std::vector<std::string> paths_;
};

/// Reads the whole input, which must hold one message and nothing else. Adds the files that
/// it brings to `files`. Bytes of the wire form go to `dump` too, if it is not null. Throws
/// Failure, and what the library throws.
std::unique_ptr<Message> read_message(Input& input, Form form, Temporary_files& files,
                                      Tm_limits const& limits, Dump* dump = nullptr);
