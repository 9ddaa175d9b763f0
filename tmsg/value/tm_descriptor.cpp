#include "tmsg/value/tm_descriptor.h"

#include <fcntl.h>
#include <unistd.h>

Tm_descriptor::Tm_descriptor(char const* path, int flags, unsigned int mode)
    : fd_(tm_uninterrupted([&] { return ::open(path, flags | O_CLOEXEC, mode); })) {
    if (fd_ >= 0 && fd_ < first_usable) move_up();
}

Tm_descriptor::~Tm_descriptor() {
    if (fd_ >= 0) ::close(fd_);
}

void Tm_descriptor::move_up() {
    int const moved = ::fcntl(fd_, F_DUPFD_CLOEXEC, first_usable);
    if (moved < 0) return;
    ::close(fd_);
    fd_ = moved;
}
