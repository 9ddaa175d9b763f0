/// Reads files and standard input.
#include "io/input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace {

bool is_standard_input(std::string const& path) { return path.empty() || path == "-"; }

/// Returns the size of the file, and 0 for anything else.
std::size_t size_of(int descriptor) {
    struct stat status = {};
    bool const is_file = ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    return is_file ? static_cast<std::size_t>(status.st_size) : 0;
}

Descriptor open_input(std::string const& path) {
    if (is_standard_input(path)) return {};
    Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() < 0) throw Failure::of_system("failed to open " + path);
    return above_standard(std::move(file));
}

}  // namespace

Input::Input(std::string const& path)
    : name_(is_standard_input(path) ? "standard input" : path),
      file_(open_input(path)),
      descriptor_(is_standard_input(path) ? STDIN_FILENO : file_.get()),
      progress_("read", size_of(descriptor_)) {}

std::size_t Input::read(void* data, std::size_t size) {
    ssize_t got = -1;
    do {
        throw_if_interrupted();
        got = ::read(descriptor_, data, size);
    } while (got < 0 && errno == EINTR);
    if (got < 0) throw Failure::of_system("failed to read from " + name_);
    auto const count = static_cast<std::size_t>(got);
    progress_.advance(count);
    return count;
}

std::string Input::read_all(std::size_t most) {
    constexpr std::size_t block = 1 << 16;
    std::string all;
    for (std::size_t got = block; got != 0 && all.size() <= most;) {
        std::size_t const before = all.size();
        all.resize(before + block);
        got = read(&all[before], block);
        all.resize(before + got);
    }
    return all;
}
