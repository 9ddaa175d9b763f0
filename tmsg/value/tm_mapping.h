/// A shared mapping of a whole file, unmapped on destruction.
#pragma once

#include <cstddef>

class Tm_mapping {
public:
    Tm_mapping() = default;
    Tm_mapping(Tm_mapping const&) = delete;
    Tm_mapping& operator=(Tm_mapping const&) = delete;
    ~Tm_mapping();

    /// Maps the first `size` bytes, size above 0. False when the system refuses.
    bool map(int fd, std::size_t size, bool writable);
    /// Null while nothing is mapped.
    char* data() const { return static_cast<char*>(address_); }
    /// Waits until the file holds what was written to the mapping.
    void flush() const;

private:
    void* address_ = nullptr;
    std::size_t size_ = 0;
};
