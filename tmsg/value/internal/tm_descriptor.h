/// Open files and mappings of files, closed on destruction.
#pragma once

#include <cerrno>
#include <cstddef>
#include <utility>

/// Open file descriptors, and system calls on them.

/// Calls the system again while a signal interrupts the call. The call returns a negative number
/// and sets errno when it fails.
template <class Call>
auto tm_uninterrupted(Call call) {
    while (true) {
        auto const result = call();
        if (result >= 0 || errno != EINTR) return result;
    }
}

/// Closes the descriptor on destruction.
class Tm_descriptor {
public:
    Tm_descriptor() = default;
    /// Opens with close-on-exec added to `flags`; `mode` matters only with O_CREAT. The descriptor
    /// is above 2 even where 0, 1 or 2 is free, so that nothing written to a standard stream ends
    /// up in the file.
    Tm_descriptor(char const* path, int flags, unsigned int mode);
    Tm_descriptor(Tm_descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Tm_descriptor(Tm_descriptor const&) = delete;
    Tm_descriptor& operator=(Tm_descriptor const&) = delete;
    ~Tm_descriptor();

    int get() const { return fd_; }
    /// Returns false when the file is not open, or could not get a descriptor above 2.
    bool is_usable() const { return fd_ >= first_usable; }

private:
    static constexpr int first_usable = 3;

    void move_up();

    int fd_ = -1;
};

/// A shared mapping of a whole file, unmapped on destruction.
class Tm_mapping {
public:
    Tm_mapping() = default;
    Tm_mapping(Tm_mapping const&) = delete;
    Tm_mapping& operator=(Tm_mapping const&) = delete;
    ~Tm_mapping();

    /// Maps the first `size` bytes, at least 1. Returns false when the system refuses.
    bool map(int fd, std::size_t size, bool writable);
    /// Returns null while nothing is mapped.
    char* data() const { return static_cast<char*>(address_); }
    /// Waits until the file holds what was written to the mapping.
    void flush() const;

private:
    void* address_ = nullptr;
    std::size_t size_ = 0;
};
