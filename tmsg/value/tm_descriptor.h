/// An open file descriptor, closed on destruction.
#pragma once

#include <utility>

class Tm_descriptor {
public:
    Tm_descriptor() = default;
    /// Opens with close-on-exec added to `flags`; `mode` matters only with O_CREAT. Where 0, 1 or 2
    /// is free the file gets a descriptor above: what others write to a standard stream must not
    /// end up in it.
    Tm_descriptor(char const* path, int flags, unsigned int mode);
    Tm_descriptor(Tm_descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Tm_descriptor(Tm_descriptor const&) = delete;
    Tm_descriptor& operator=(Tm_descriptor const&) = delete;
    ~Tm_descriptor();

    int get() const { return fd_; }
    /// False too for an open file that could not get a descriptor above 2.
    bool is_usable() const { return fd_ >= first_usable; }

private:
    static constexpr int first_usable = 3;

    void move_up();

    int fd_ = -1;
};
