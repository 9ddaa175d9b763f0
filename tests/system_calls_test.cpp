/// Files are sent and received by system calls of this program's own, which fail when they are told.
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/uio.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <map>

#include "support/support.h"

namespace {

bool are_interrupted = false;  ///< every second call
bool are_names_occupied = false;
int refused_names = 0;

/// How often each call was interrupted.
std::map<std::string, int>& interruptions() {
    static std::map<std::string, int> counts;
    return counts;
}

bool interrupt(char const* call) {
    static bool is_next = false;
    is_next = are_interrupted && !is_next;
    if (!is_next) return false;
    ++interruptions()[call];
    errno = EINTR;
    return true;
}

}  // namespace

extern "C" {

int open(char const* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    unsigned int const mode = (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned int) : 0;
    va_end(arguments);
    if (interrupt("open")) return -1;
    if (are_names_occupied && (flags & O_EXCL) != 0) {
        ++refused_names;
        errno = EEXIST;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

ssize_t pread(int fd, void* to, size_t size, off_t position) {
    return interrupt("pread") ? -1 : ::syscall(SYS_pread64, fd, to, size, position);
}

/// Writes a part of what it is asked to.
ssize_t writev(int fd, iovec const* parts, int count) {
    if (interrupt("writev")) return -1;
    iovec const first = parts[0].iov_len > 0 ? parts[0] : parts[count - 1];
    return ::syscall(SYS_write, fd, first.iov_base, first.iov_len / 2 + 1);
}

int ftruncate(int fd, off_t size) noexcept {
    return interrupt("ftruncate") ? -1 : static_cast<int>(::syscall(SYS_ftruncate, fd, size));
}

int posix_fallocate(int fd, off_t from, off_t size) {
    if (interrupt("posix_fallocate")) return EINTR;
    return ::syscall(SYS_fallocate, fd, 0, from, size) == 0 ? 0 : errno;
}

}  // extern "C"

TEST(Interrupted_system_calls, AreRepeated) {
    Scratch const scratch;
    for (unsigned int const size : {300U, 11264300U}) {
        std::string const path = scratch.file("sent", pattern(size));
        are_interrupted = true;
        std::unique_ptr<Message> received;
        Message message;
        std::string const error = text_thrown_by<std::exception>([&] {
            message.add_member(body, "file", path, 0U);
            received = deliver(message, 100000);
        });
        are_interrupted = false;
        ASSERT_EQ("nothing thrown", error);
        EXPECT_TRUE(content_of(received->get_member_file(body, "file")->path()) == pattern(size)) << size;
    }
    for (char const* const call : {"open", "pread", "writev", "ftruncate", "posix_fallocate"}) {
        EXPECT_LT(0, interruptions()[call]) << call;
    }
    EXPECT_EQ(2, remove_received_files());
}

/// Occupied names are an error only after very many of them.
TEST(Occupied_names, AreTriedToAnEnd) {
    are_names_occupied = true;
    Tm_bin_array_decoder decoder(4096);
    std::string const error = text_thrown_by([&] { feed(decoder, from_hex("15 00 00 00 01 78")); });
    are_names_occupied = false;
    EXPECT_EQ(0U, error.find("failed to open /tmp/zab_tmp_" + std::to_string(::getpid()) + "_"));
    EXPECT_LT(1000000, refused_names);
}
