#include "tmsg/value/internal/tm_received_file.h"

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_file.h"

namespace {

constexpr unsigned int last_number = 0xFFFFFFFE;
/// Read and write for the owner; the set-group-id bit marks the file as the library's.
constexpr unsigned int file_mode = 02600;
/// The most occupied names to skip in a row. Each costs one system call.
constexpr unsigned int most_occupied_names = 1 << 20;
/// Room on the disk for a mapping is reserved in steps of at least this many bytes.
constexpr unsigned int smallest_reservation = 1 << 16;
/// A larger file is written in steps of this many bytes; the last one may be shorter.
constexpr std::size_t gathering_step = 1 << 16;

/// Counts up from 0; after the last number it starts again at 1.
unsigned int next_number() {
    static std::atomic<unsigned int> counter{0};
    unsigned int number = counter.load(std::memory_order_relaxed);
    while (!counter.compare_exchange_weak(number, number >= last_number ? 1 : number + 1,
                                          std::memory_order_relaxed)) {
    }
    return number;
}

/// The beginning of the paths of all files that this process makes.
class Path_prefix {
public:
    Path_prefix()
        : size_(static_cast<std::size_t>(std::snprintf(text_, sizeof text_, "/tmp/zab_tmp_%d_",
                                                       static_cast<int>(::getpid())))) {}

    operator std::string_view() const { return {text_, size_}; }

private:
    char text_[32];
    std::size_t size_;
};

/// Takes only a new file and no link, because others can guess the name, and another process may
/// have the same number. This process must not remove a file that has the name already.
Tm_descriptor make_file(std::string& path) {
    Path_prefix const prefix;
    for (unsigned int skipped = 0;; ++skipped) {
        path = prefix;
        path += std::to_string(static_cast<int>(next_number()));
        Tm_descriptor file(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, file_mode);
        bool const is_occupied = file.get() < 0 && errno == EEXIST;
        if (!is_occupied || skipped == most_occupied_names) return file;
    }
}

}  // namespace

Tm_received_file::Tm_received_file(unsigned int length)
    : descriptor_(make_file(path_)), length_(length) {
    bool const is_open = descriptor_.is_usable();
    bool const is_mapped = length > 0 && Tm_file::is_mapped_size(length);
    if (is_open && (!is_mapped || map())) return;
    if (descriptor_.get() >= 0) ::unlink(path_.c_str());
    if (is_open) throw Tm_file_mapping_exception(path_);
    throw Tm_file_open_exception(path_);
}

Tm_received_file::~Tm_received_file() {
    if (kept_) {
        mapping_.flush();
    } else {
        tm_remove_received_file(path_);
    }
}

bool Tm_received_file::map() {
    int const fd = descriptor_.get();
    return tm_uninterrupted([&] { return ::ftruncate(fd, length_); }) == 0 &&
           mapping_.map(fd, length_, true);
}

bool Tm_received_file::write(char const* data, unsigned int length) {
    if (mapping_.data() == nullptr) {
        if (!gather(data, length)) return false;
    } else {
        if (!reserve(taken_ + length)) return false;
        std::memcpy(mapping_.data() + taken_, data, length);
    }
    taken_ += length;
    return true;
}

/// Writing to a mapping for which the disk has no room would end the process. The steps grow with
/// the file, so that they are few and bytes that were only announced take no room.
bool Tm_received_file::reserve(unsigned int end) {
    while (reserved_ < end) {
        unsigned int const step = std::max(smallest_reservation, reserved_);
        unsigned int const size = std::min(step, length_ - reserved_);
        int const error = ::posix_fallocate(descriptor_.get(), reserved_, size);
        if (error == EINTR) continue;
        if (error != 0) return false;
        reserved_ += size;
    }
    return true;
}

/// Gathers bytes, so that the system is called only for full steps. Makes all room first, so that
/// nothing is lost when there is no memory.
bool Tm_received_file::gather(char const* data, std::size_t length) {
    bool const is_last = taken_ + length == length_;
    std::size_t const waiting = gathered_.size() + length;
    std::size_t const left = is_last ? 0 : waiting % gathering_step;
    make_room(left);
    if (waiting > left) {
        if (!write_behind_gathered(data, waiting - left - gathered_.size())) return false;
        data += length - left;
        length = left;
        gathered_.clear();
    }
    gathered_.insert(gathered_.end(), data, data + length);
    return true;
}

/// Makes room in steps that grow with the bytes that have arrived.
void Tm_received_file::make_room(std::size_t size) {
    std::size_t const grown = std::min(2 * gathered_.capacity(), gathering_step);
    if (size > gathered_.capacity()) gathered_.reserve(std::max(size, grown));
}

/// Writes the gathered bytes and then `length` bytes of `data`.
bool Tm_received_file::write_behind_gathered(char const* data, std::size_t length) {
    std::size_t const gathered = gathered_.size();
    std::size_t done = 0;
    while (done < gathered + length) {
        std::size_t const of_gathered = std::min(done, gathered);
        std::size_t const of_data = done - of_gathered;
        iovec const parts[] = {{gathered_.data() + of_gathered, gathered - of_gathered},
                               {const_cast<char*>(data) + of_data, length - of_data}};
        ssize_t const written =
            tm_uninterrupted([&] { return ::writev(descriptor_.get(), parts, 2); });
        if (written <= 0) return false;
        done += static_cast<std::size_t>(written);
    }
    return true;
}

bool tm_remove_received_file(std::string const& path) noexcept {
    Path_prefix const own;
    std::string_view const prefix = own;
    bool const is_own = path.compare(0, prefix.size(), prefix) == 0;
    return !is_own || ::unlink(path.c_str()) == 0 || errno == ENOENT;
}
