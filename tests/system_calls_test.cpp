/// Files are sent and received by system calls of this program's own, which fail when they are told.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/uio.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <map>

#include "support/support.h"

namespace {

bool are_interrupted = false;  ///< every second call
bool are_names_occupied = false;
int refused_names = 0;
int allowed = -1;  ///< calls until all fail; negative: none fails
std::string failed_call;

/// How often each call was interrupted.
std::map<std::string, int>& interruptions() {
    static std::map<std::string, int> counts;
    return counts;
}

/// Returns whether this call fails, with what error.
bool fails(char const* call) {
    static bool is_next = false;
    is_next = are_interrupted && !is_next;
    if (is_next) ++interruptions()[call];
    if (allowed == 0 && failed_call.empty()) failed_call = call;
    if (!is_next && allowed != 0) return allowed -= allowed > 0, false;
    errno = is_next ? EINTR : EIO;
    return true;
}

}  // namespace

extern "C" {

int open(char const* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    unsigned int const mode = (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned int) : 0;
    va_end(arguments);
    if (fails("open")) return -1;
    if (are_names_occupied && (flags & O_EXCL) != 0) {
        ++refused_names;
        errno = EEXIST;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

/// Read and write a part of what they are asked to.
ssize_t read(int fd, void* to, size_t size) {
    return fails("read") ? -1 : ::syscall(SYS_read, fd, to, size / 2 + size % 2);
}

ssize_t pread(int fd, void* to, size_t size, off_t position) {
    return fails("pread") ? -1 : ::syscall(SYS_pread64, fd, to, size, position);
}

ssize_t writev(int fd, iovec const* parts, int count) {
    if (fails("writev")) return -1;
    iovec const first = parts[0].iov_len > 0 ? parts[0] : parts[count - 1];
    return ::syscall(SYS_write, fd, first.iov_base, first.iov_len / 2 + 1);
}

int ftruncate(int fd, off_t size) noexcept {
    return fails("ftruncate") ? -1 : static_cast<int>(::syscall(SYS_ftruncate, fd, size));
}

int posix_fallocate(int fd, off_t from, off_t size) {
    if (fails("posix_fallocate")) return errno;
    return ::syscall(SYS_fallocate, fd, 0, from, size) == 0 ? 0 : errno;
}

}  // extern "C"

namespace {

constexpr unsigned int small_size = 300, large_size = 11264300;

/// The file that arrives when a file is sent, or the error.
struct Transfer {
    explicit Transfer(std::string const& path) {
        error = text_thrown_by<std::exception>([&] {
            Message message;
            message.add_member(body, "file", path, 0U);
            receiver.take_all(1, chunks_of(message, 1, 100000));
        });
        if (error == "nothing thrown") error = receiver.errors.empty() ? "" : receiver.errors[0];
        if (!receiver.messages.empty()) file = receiver.messages.at({1, 1})->get_member_file(body, "file");
    }
    Receiver receiver;
    std::string error;
    Tm_file const* file = nullptr;
};

}  // namespace

TEST(System_calls, AreRepeatedWhenTheyAreInterrupted) {
    Scratch const scratch;
    for (unsigned int const size : {small_size, large_size}) {
        std::string const path = scratch.file("sent", pattern(size));
        are_interrupted = true;
        Transfer const transfer(path);
        std::string text(9, ' ');
        long const got = Tm_file::read_n(Tm_file(path, 0).descriptor(), text.data(), text.size());
        are_interrupted = false;
        ASSERT_EQ("", transfer.error);
        EXPECT_TRUE(content_of(transfer.file->path()) == pattern(size)) << size;
        EXPECT_EQ(9, got);
        EXPECT_EQ(pattern(9), text);
    }
    for (char const* const call : {"open", "read", "pread", "writev", "ftruncate", "posix_fallocate"}) {
        EXPECT_LT(0, interruptions()[call]) << call;
    }
    EXPECT_EQ(2, remove_received_files());
}

/// The first, second, ... call fails, and all behind it.
TEST(System_calls, ThatFailAreReportedAndLeaveNoFileOrDescriptor) {
    Scratch const scratch;
    std::map<std::string, std::string> const texts = {{"open", "failed to open /"},
                                                      {"pread", "failed to read from /"},
                                                      {"writev", "failed to write to /tmp/zab_tmp_"},
                                                      {"ftruncate", "failed to map /tmp/zab_tmp_"},
                                                      {"posix_fallocate", "failed to write to /tmp/zab_tmp_"}};
    Names failed;
    int const next = next_descriptor();
    for (unsigned int const size : {small_size, large_size}) {
        std::string const path = scratch.file("sent", pattern(size));
        for (int n = 0, step = 1; n == 0 || !failed_call.empty(); n += step, step = n < 20 ? 1 : n / 2) {
            failed_call.clear();
            allowed = n;
            {
                Transfer const transfer(path);
                allowed = -1;
                bool const is_whole = failed_call.empty();
                std::string const wanted = is_whole ? "" : texts.at(failed_call);
                EXPECT_NE(std::string::npos, transfer.error.find(wanted)) << failed_call << ": " << transfer.error;
                EXPECT_EQ(is_whole, transfer.error.empty());
                EXPECT_EQ(is_whole ? 1 : 0, remove_received_files()) << failed_call;
            }
            EXPECT_EQ(next, next_descriptor());
            if (!failed_call.empty()) failed.push_back(failed_call);
        }
    }
    for (auto const& [call, text] : texts)
        EXPECT_NE(failed.end(), std::find(failed.begin(), failed.end(), call)) << call;
}

TEST(System_calls, ThatFailLeaveTheDecoderUsable) {
    Bytes const bytes = from_hex("15 00 00 00 05 31 32 33 34 35");
    Tm_bin_array_decoder decoder(4096);
    for (int n = 0; n < 4; ++n) {
        allowed = n;
        std::string const error = text_thrown_by([&] { feed(decoder, bytes); });
        allowed = -1;
        EXPECT_EQ(0U, decoder.error().find("failed to ")) << n;
        EXPECT_TRUE(error == "nothing thrown" || error == decoder.error()) << error;
        decoder.init();
        feed(decoder, bytes);
        EXPECT_EQ(1, decoder.array()->get_member_count());
        decoder.init();
        EXPECT_EQ(1, remove_received_files());
    }
}

namespace {

/// Closes the standard descriptors for a while, as a daemon does.
class No_standard_descriptors {
public:
    No_standard_descriptors() {
        for (int fd = 0; fd < 3; ++fd) {
            saved_[fd] = ::fcntl(fd, F_DUPFD_CLOEXEC, 10);
            ::close(fd);
        }
    }
    ~No_standard_descriptors() {
        for (int fd = 0; fd < 3; ++fd) {
            ::dup2(saved_[fd], fd);
            ::close(saved_[fd]);
        }
    }

    static bool are_free() { return ::fcntl(0, F_GETFD) < 0 && ::fcntl(1, F_GETFD) < 0 && ::fcntl(2, F_GETFD) < 0; }

private:
    int saved_[3];
};

}  // namespace

TEST(Standard_descriptors, AreNeverThoseOfFiles) {
    Scratch const scratch;
    for (unsigned int const size : {small_size, large_size}) {
        std::string const path = scratch.file("sent", pattern(size));
        int lowest = 0, flags = 0;
        bool is_equal = false, are_free = false;
        {
            No_standard_descriptors const closed;
            Tm_file const sent(path, 0);
            Transfer const transfer(path);
            if (transfer.file != nullptr) {
                is_equal = content_of(transfer.file->path()) == pattern(size);
                lowest = std::min(sent.descriptor(), transfer.file->descriptor());
                flags = ::fcntl(transfer.file->descriptor(), F_GETFD);
            }
            are_free = closed.are_free();
        }
        EXPECT_TRUE(is_equal) << size;
        EXPECT_TRUE(are_free) << size;
        EXPECT_LT(2, lowest) << size;
        EXPECT_EQ(FD_CLOEXEC, flags & FD_CLOEXEC) << size;
    }
    EXPECT_EQ(2, remove_received_files());
}

/// The file gets descriptor 0, and there is none above 2 to move it to.
TEST(Standard_descriptors, AreNoSubstituteForOthers) {
    Tm_bin_array_decoder decoder(4096);
    std::string error;
    bool are_free = false;
    {
        No_standard_descriptors const closed;
        rlimit before = {};
        ::getrlimit(RLIMIT_NOFILE, &before);
        rlimit const lower = {3, before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &lower);
        error = text_thrown_by([&] { feed(decoder, from_hex("15 00 00 00 01 78")); });
        ::setrlimit(RLIMIT_NOFILE, &before);
        are_free = closed.are_free();
    }
    EXPECT_EQ(0U, error.find("failed to open /tmp/zab_tmp_"));
    EXPECT_TRUE(are_free);
    EXPECT_EQ(0, remove_received_files());
}

/// Occupied names are an error only after very many of them. The last test: nobody counts them again.
TEST(Occupied_names, AreTriedToAnEnd) {
    are_names_occupied = true;
    Tm_bin_array_decoder decoder(4096);
    std::string const error = text_thrown_by([&] { feed(decoder, from_hex("15 00 00 00 01 78")); });
    are_names_occupied = false;
    EXPECT_EQ(0U, error.find("failed to open /tmp/zab_tmp_" + std::to_string(::getpid()) + "_"));
    EXPECT_LT(1000000, refused_names);
}
