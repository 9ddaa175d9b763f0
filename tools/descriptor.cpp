#include "descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include "failure.h"

Descriptor::~Descriptor() {
    if (number_ >= 0) ::close(number_);
}

Descriptor above_standard(Descriptor descriptor) {
    if (descriptor.get() > STDERR_FILENO) return descriptor;
    Descriptor moved(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (moved.get() < 0) throw Failure::of_system("failed to move a descriptor");
    return moved;
}

std::FILE* open_temporary_file() {
    constexpr char const* failed = "failed to make a temporary file";
    std::FILE* const file = std::tmpfile();
    if (file == nullptr) throw Failure::of_system(failed);
    if (::fileno(file) > STDERR_FILENO) return file;
    Descriptor moved(::fcntl(::fileno(file), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    std::fclose(file);
    std::FILE* const moved_file = moved.get() < 0 ? nullptr : ::fdopen(moved.get(), "w+b");
    if (moved_file == nullptr) throw Failure::of_system(failed);
    moved.release();
    return moved_file;
}
