#include "tmsg/creator/tm_temporary_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>

#include "tmsg/value/tm_exception.h"

namespace {

constexpr unsigned int last_number = 0xFFFFFFFE;
/// Read and write for the owner; the set-group-id bit marks the file as the library's.
constexpr unsigned int file_mode = 02600;

/// Counts up from 0; after the last number it starts again at 1.
unsigned int next_number() {
    static std::atomic<unsigned int> counter{0};
    unsigned int number = counter.load(std::memory_order_relaxed);
    while (!counter.compare_exchange_weak(number, number >= last_number ? 1 : number + 1,
                                          std::memory_order_relaxed)) {
    }
    return number;
}

/// A path of this process, free: whatever stood there before is gone.
std::string free_path() {
    char path[64];
    std::snprintf(path, sizeof path, "/tmp/zab_tmp_%d_%d", static_cast<int>(::getpid()),
                  static_cast<int>(next_number()));
    ::unlink(path);
    return path;
}

}  // namespace

/// The name can be guessed, so only a file that is new and no link will do.
Tm_temporary_file::Tm_temporary_file()
    : path_(free_path()),
      descriptor_(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, file_mode) {
    if (descriptor_.is_usable()) return;
    if (descriptor_.get() == 0) ::unlink(path_.c_str());
    throw Tm_file_open_exception(path_);
}

Tm_temporary_file::~Tm_temporary_file() {
    if (!kept_) ::unlink(path_.c_str());
}
