/// Reads files and standard input.
#include "io/input.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "io/output.h"

namespace {

bool is_standard_input(std::string const& path) { return path.empty() || path == "-"; }

bool is_regular(int descriptor) {
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

/// Returns the size of a file.
std::size_t size_of(int descriptor) {
    struct stat status = {};
    ::fstat(descriptor, &status);
    return static_cast<std::size_t>(status.st_size);
}

Descriptor open_input(std::string const& path) {
    if (is_standard_input(path)) return {};
    Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() < 0) throw Failure::of_system("failed to open " + path);
    if (is_output_file(file.get())) throw Failure(path + ": the input is also the output");
    return above_standard(std::move(file));
}

}  // namespace

Input::Input(std::string const& path)
    : name_(is_standard_input(path) ? "standard input" : path),
      file_(open_input(path)),
      descriptor_(is_standard_input(path) ? STDIN_FILENO : file_.get()),
      is_file_(is_regular(descriptor_)),
      progress_("read", is_file_ ? size_of(descriptor_) : 0) {}

std::string_view Input::unread() const { return {block_.data() + begin_, end_ - begin_}; }

std::string_view Input::peek() {
    if (unread().empty()) read_more();
    return unread();
}

void Input::take(std::size_t size) {
    show_watcher(unread().substr(0, size));
    begin_ += size;
    offset_ += size;
}

bool Input::read_more() {
    std::copy(block_.data() + begin_, block_.data() + end_, block_.data());
    end_ -= begin_;
    begin_ = 0;
    if (block_.size() < end_ + input_block) block_.resize(end_ + input_block);
    std::size_t const got = read(block_.data() + end_, input_block);
    end_ += got;
    return got > 0;
}

std::string Input::read_all(std::size_t most) {
    std::string all;
    for (std::string_view piece; all.size() <= most && !(piece = peek()).empty();) {
        all += piece;
        take(piece.size());
    }
    return all;
}

std::size_t Input::read(char* data, std::size_t size) {
    ssize_t got = -1;
    do {
        wait_for_bytes();
        got = ::read(descriptor_, data, size);
    } while (got < 0 && errno == EINTR);
    if (got < 0) throw Failure::of_system("failed to read from " + name_);
    auto const count = static_cast<std::size_t>(got);
    progress_.advance(count);
    return count;
}

/// Waits until read() returns at once. Flushes the output before it waits, so that all that has
/// arrived is shown. A file has all its bytes already.
void Input::wait_for_bytes() const {
    throw_if_interrupted();
    if (is_file_) return;
    pollfd handle = {descriptor_, POLLIN, 0};
    if (::poll(&handle, 1, 0) > 0) return;
    flush_output();
    Blocked_signals const signals;
    throw_if_interrupted();
    ::ppoll(&handle, 1, nullptr, &signals.before());
    throw_if_interrupted();
}
