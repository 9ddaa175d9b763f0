/// The bytes of a file or of standard input, in one pass.
#pragma once

#include <cstddef>
#include <string>

#include "descriptor.h"
#include "progress.h"

class Input {
public:
    /// Standard input when the path is empty or "-". Throws Failure.
    explicit Input(std::string const& path);

    /// The next bytes, as many as there are up to `size`; 0 at the end. Throws Failure.
    std::size_t read(void* data, std::size_t size);
    /// All that follows, but no further than the first piece that goes beyond `most` bytes.
    std::string read_all(std::size_t most);

    /// How many bytes were read.
    std::size_t offset() const { return offset_; }

private:
    std::string name_;
    Descriptor file_;  ///< none for standard input
    int descriptor_;
    std::size_t offset_ = 0;
    Progress progress_;
};
