/// Writes what passes in one direction of a connection to a file.
#pragma once

#include <cstddef>
#include <string>

#include "io/system.h"

/// A new file. When it cannot be written, it reports that once and takes no more bytes.
class Capture_file {
public:
    Capture_file() = default;

    /// Opens a file that does not exist yet. Throws Failure.
    explicit Capture_file(std::string path);

    /// Writes at once, so that other programs see the bytes. Does nothing when no file is open.
    void add(unsigned char const* data, std::size_t size);

private:
    std::string path_;
    Descriptor file_;
};
