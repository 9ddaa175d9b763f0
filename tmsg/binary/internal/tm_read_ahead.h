/// Reads a file from its start in a few large steps and gives it away in many small ones. It keeps
/// its own place: the position of the descriptor is neither used nor moved, so that others may read
/// from the same descriptor.
#pragma once

#include <cstddef>
#include <vector>

class Tm_read_ahead {
public:
    explicit Tm_read_ahead(int fd) : fd_(fd) {}

    int descriptor() const { return fd_; }

    /// Copies the next bytes and returns `length`. Where the file ends before that it returns 0, on
    /// an error a negative number; then no bytes count as read.
    long read(void* to, unsigned int length);

private:
    long fill();
    long read_directly(char* to, std::size_t length);
    long read_once(char* to, std::size_t size, long position) const;

    int fd_;
    long position_ = 0;        ///< in the file, behind the bytes that were read
    std::vector<char> bytes_;  ///< those from first_ to last_ are read but not given away
    std::size_t first_ = 0;
    std::size_t last_ = 0;
};
