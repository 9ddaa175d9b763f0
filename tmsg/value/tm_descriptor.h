/// An open file descriptor, closed on destruction.
#pragma once

class Tm_descriptor {
public:
    Tm_descriptor() = default;
    /// Opens with close-on-exec added to `flags`; `mode` matters only with O_CREAT.
    Tm_descriptor(char const* path, int flags, unsigned int mode);
    Tm_descriptor(Tm_descriptor const&) = delete;
    Tm_descriptor& operator=(Tm_descriptor const&) = delete;
    ~Tm_descriptor();

    int get() const { return fd_; }
    /// Descriptor 0 counts as a failed open.
    bool is_usable() const { return fd_ > 0; }

private:
    int fd_ = -1;
};
