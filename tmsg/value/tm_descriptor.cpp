#include "tmsg/value/tm_descriptor.h"

#include <fcntl.h>
#include <unistd.h>

Tm_descriptor::Tm_descriptor(char const* path, int flags, unsigned int mode)
    : fd_(::open(path, flags | O_CLOEXEC, mode)) {}

Tm_descriptor::~Tm_descriptor() {
    if (fd_ >= 0) ::close(fd_);
}
