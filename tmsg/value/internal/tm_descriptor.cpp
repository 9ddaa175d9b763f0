#include "tmsg/value/internal/tm_descriptor.h"

#include <fcntl.h>
#include <sys/mman.h>
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

Tm_mapping::~Tm_mapping() {
    if (address_ != nullptr) ::munmap(address_, size_);
}

bool Tm_mapping::map(int fd, std::size_t size, bool writable) {
    void* const address =
        ::mmap(nullptr, size, writable ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED, fd, 0);
    if (address == MAP_FAILED) return false;
    address_ = address;
    size_ = size;
    return true;
}

void Tm_mapping::flush() const {
    if (address_ != nullptr) ::msync(address_, size_, MS_SYNC);
}
