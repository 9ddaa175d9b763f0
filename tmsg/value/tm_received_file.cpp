#include "tmsg/value/tm_received_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_file.h"

namespace {

/// Disk space is reserved in steps of this many bytes, as bytes arrive.
constexpr unsigned int reservation = 1 << 16;
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
Tm_received_file::Tm_received_file(unsigned int length)
    : length_(length),
      path_(free_path()),
      descriptor_(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, file_mode) {
    if (!descriptor_.is_usable()) {
        if (descriptor_.get() == 0) ::unlink(path_.c_str());
        throw Tm_file_open_exception(path_);
    }
    if (length > 0 && Tm_file::is_mapped_size(length)) map();
}

Tm_received_file::~Tm_received_file() {
    mapping_.flush();
    if (!kept_) ::unlink(path_.c_str());
}

void Tm_received_file::map() {
    bool const extended = ::ftruncate(descriptor_.get(), length_) == 0;
    if (!extended || !mapping_.map(descriptor_.get(), length_, true)) {
        ::unlink(path_.c_str());
        throw Tm_file_mapping_exception(path_);
    }
}

/// Touching a mapping for which the disk has no room would end the process.
bool Tm_received_file::reserve(unsigned int end) {
    while (reserved_ < end) {
        unsigned int const size = std::min(reservation, length_ - reserved_);
        int const error = ::posix_fallocate(descriptor_.get(), reserved_, size);
        if (error == EINTR) continue;
        if (error != 0) return false;
        reserved_ += size;
    }
    return true;
}

bool Tm_received_file::write(char const* data, unsigned int length) {
    if (mapping_.data() != nullptr) {
        if (!reserve(written_ + length)) return false;
        if (length > 0) std::memcpy(mapping_.data() + written_, data, length);
        written_ += length;
        return true;
    }
    while (length > 0) {
        ssize_t const written = ::write(descriptor_.get(), data, length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        data += written;
        length -= static_cast<unsigned int>(written);
    }
    return true;
}
