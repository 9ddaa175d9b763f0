/// Makes and writes capture files.
#include "net/capture_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "io/terminal.h"

namespace {

constexpr mode_t mode = 0666;

Descriptor open_new(std::string const& path) {
    Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (file.get() < 0) throw Failure::of_system("failed to open " + path);
    return above_standard(std::move(file));
}

}  // namespace

Capture_file::Capture_file(std::string path) : path_(std::move(path)), file_(open_new(path_)) {}

void Capture_file::add(unsigned char const* data, std::size_t size) {
    while (size > 0 && file_.get() >= 0) {
        ssize_t const done = ::write(file_.get(), data, size);
        if (done < 0 && errno == EINTR) continue;
        if (done < 0) {
            report(Failure::of_system("failed to write to " + path_).what());
            file_ = Descriptor();
            return;
        }
        data += done;
        size -= static_cast<std::size_t>(done);
    }
}
