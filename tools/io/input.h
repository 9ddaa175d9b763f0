/// Reads the bytes of a file or of standard input.
#pragma once

#include <cstddef>
#include <string>

#include "io/system.h"
#include "io/terminal.h"

/// The bytes that are read at a time.
constexpr std::size_t input_block = 1 << 16;

/// The bytes of a file or of standard input, in one pass.
class Input {
public:
    /// Opens the file, or standard input when the path is empty or "-". Throws Failure.
    explicit Input(std::string const& path);

    /// Reads at most `size` bytes, as many as there are. Returns 0 at the end. Throws Failure.
    std::size_t read(void* data, std::size_t size);
    /// Reads to the end, but no further than the first piece that goes beyond `most` bytes.
    std::string read_all(std::size_t most);

private:
    std::string name_;
    Descriptor file_;  ///< none for standard input
    int descriptor_;
    Progress progress_;
};
