#include "tmsg/value/tm_descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include "tmsg/value/tm_uninterrupted.h"

Tm_descriptor::Tm_descriptor(char const* path, int flags, unsigned int mode)
    : fd_(tm_uninterrupted([&] { return ::open(path, flags | O_CLOEXEC, mode); })) {}

Tm_descriptor::~Tm_descriptor() {
    if (fd_ >= 0) ::close(fd_);
}
