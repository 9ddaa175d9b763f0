/// Writes standard output in blocks.
#include "io/output.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

namespace {

constexpr std::size_t output_block = 1 << 16;

std::size_t written = 0;

std::string& waiting() {
    static std::string text;
    return text;
}

/// Uses no stdio, because stdio goes on writing when a signal comes.
void write_now(std::string_view text) {
    while (!text.empty()) {
        throw_if_interrupted();
        ssize_t const done =
            ::write(STDOUT_FILENO, text.data(), std::min(text.size(), output_block));
        if (done >= 0) {
            text.remove_prefix(static_cast<std::size_t>(done));
        } else if (errno != EINTR) {
            throw Output_failure(Failure::of_system("failed to write to standard output").what());
        }
    }
}

}  // namespace

void write_output(std::string_view text) {
    written += text.size();
    if (waiting().size() + text.size() >= output_block) {
        flush_output();
        if (text.size() >= output_block) return write_now(text);
    }
    waiting() += text;
}

void flush_output() {
    std::string const text = std::move(waiting());
    waiting().clear();
    write_now(text);
}

std::size_t output_size() { return written; }

bool output_is_open() { return ::fcntl(STDOUT_FILENO, F_GETFD) != -1; }
