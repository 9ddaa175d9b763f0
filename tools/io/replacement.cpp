/// Replaces files by rename(), which leaves the old or the new content at any time.
#include "io/replacement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

namespace {

struct Releaser {
    void operator()(char* text) const { std::free(text); }  // NOLINT(cppcoreguidelines-no-malloc)
};

std::string resolved(std::string const& path) {
    std::unique_ptr<char, Releaser> const real(::realpath(path.c_str(), nullptr));
    if (!real) throw Failure::of_system("failed to find " + path);
    return real.get();
}

std::string folder_of(std::string const& path) { return path.substr(0, path.rfind('/') + 1); }

struct stat status_of(std::string const& path) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) throw Failure::of_system("failed to find " + path);
    if (!S_ISREG(status.st_mode)) throw Failure(path + " is no regular file");
    return status;
}

/// The entry of the folder reaches the disk, too. Where a file system does not allow this, a loss
/// of power may bring the old content back.
void sync_folder(std::string const& folder) {
    Descriptor const opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.get() >= 0) ::fsync(opened.get());
}

}  // namespace

Replacement::Replacement(std::string const& path) : path_(resolved(path)) {
    struct stat const status = status_of(path_);
    std::string name = folder_of(path_) + ".tmsg-XXXXXX";
    Descriptor made(::mkostemp(name.data(), O_CLOEXEC));
    if (made.get() < 0) throw Failure::of_system("failed to make a file beside " + path);
    temporary_ = std::move(name);
    try {
        file_ = above_standard(std::move(made));
        // Only the superuser may give a file away. Another user keeps the new file.
        bool const has_owner = ::fchown(file_.get(), status.st_uid, status.st_gid) == 0;
        // Another owner must not get bits such as set-user-ID.
        mode_t const mode = status.st_mode & (has_owner ? 07777U : 0777U);
        if (::fchmod(file_.get(), mode) != 0) throw Failure::of_system("failed to set the mode");
    } catch (...) {
        ::unlink(temporary_.c_str());
        throw;
    }
}

Replacement::~Replacement() {
    if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

void Replacement::commit() {
    if (::fsync(file_.get()) != 0) throw Failure::of_system("failed to write to " + temporary_);
    if (::rename(temporary_.c_str(), path_.c_str()) != 0) {
        throw Failure::of_system("failed to replace " + path_);
    }
    temporary_.clear();
    sync_folder(folder_of(path_));
}
