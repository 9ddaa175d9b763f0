/// Makes and writes capture files.
#include "net/capture_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
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

Capture_folder::Capture_folder(std::string path) : path_(std::move(path)) {
    if (path_.empty()) return;
    std::error_code error;
    std::filesystem::create_directories(path_, error);
    if (!std::filesystem::is_directory(path_)) {
        throw Failure("failed to make the folder " + path_ + ": " + error.message());
    }
}

int Capture_folder::number_after(int last) const {
    do {
        ++last;
    } while (!path_.empty() && (std::filesystem::exists(path_of(last, Direction::to_upstream)) ||
                                std::filesystem::exists(path_of(last, Direction::to_client))));
    return last;
}

Capture_file Capture_folder::open(int connection, Direction direction) const {
    if (path_.empty()) return {};
    try {
        return Capture_file(path_of(connection, direction));
    } catch (Failure const& failure) {
        report(failure.what());
        return {};
    }
}

std::string Capture_folder::path_of(int connection, Direction direction) const {
    char const* const side = direction == Direction::to_upstream ? "upstream" : "client";
    return path_ + "/" + std::to_string(connection) + "-to-" + side + ".chunks";
}
