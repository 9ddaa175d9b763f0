/// Reads a file from its start in a few large steps, and returns it in many small ones. It has a
/// position of its own and does not use or move that of the descriptor, so that others may read
/// from the same descriptor.
#pragma once

#include <cstddef>
#include <vector>

class Tm_read_ahead {
public:
    explicit Tm_read_ahead(int fd) : fd_(fd) {}

    int descriptor() const { return fd_; }

    /// Copies the next bytes and returns `length`. Returns 0 when the file ends earlier, and a
    /// negative number on an error. In both cases no bytes count as read.
    long read(void* to, unsigned int length);

private:
    long fill();
    long read_directly(char* to, std::size_t length);
    long read_once(char* to, std::size_t size, long position) const;

    int fd_;
    long position_ = 0;        ///< position in the file after the bytes read
    std::vector<char> bytes_;  ///< bytes read, of which first_ to last_ are not returned yet
    std::size_t first_ = 0;
    std::size_t last_ = 0;
};
