#include "tmsg/value/tm_mapping.h"

#include <sys/mman.h>

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
