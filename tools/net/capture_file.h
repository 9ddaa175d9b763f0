/// Writes what passes in one direction of a connection to a file.
#pragma once

#include <cstddef>
#include <string>

#include "io/system.h"
#include "net/direction.h"

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

/// The captures of all connections, which have numbers.
class Capture_folder {
public:
    /// Without a folder there are no captures.
    Capture_folder() = default;
    /// Makes the folder if it is missing. An empty path is no folder. Throws Failure.
    explicit Capture_folder(std::string path);

    /// Returns the next number for which the folder has no captures.
    int number_after(int last) const;
    /// Makes a new file. When that fails, reports it and returns a file that takes no bytes.
    Capture_file open(int connection, Direction direction) const;

private:
    std::string path_of(int connection, Direction direction) const;

    std::string path_;
};
