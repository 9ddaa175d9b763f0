#include "output.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "interrupt.h"

namespace {

constexpr std::size_t block = 1 << 16;

std::size_t written = 0;

std::string& waiting() {
    static std::string text;
    return text;
}

/// Not by way of stdio, which goes on writing when a signal comes.
void write_now(std::string_view text) {
    while (!text.empty()) {
        throw_if_interrupted();
        ssize_t const done = ::write(STDOUT_FILENO, text.data(), std::min(text.size(), block));
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
    if (waiting().size() + text.size() >= block) {
        flush_output();
        if (text.size() >= block) return write_now(text);
    }
    waiting() += text;
}

std::size_t output_size() { return written; }

void flush_output() {
    std::string const text = std::move(waiting());
    waiting().clear();
    write_now(text);
}

void end_text_output() {
    if (output_is_terminal()) write_output("\n");
    flush_output();
}

bool output_is_terminal() { return ::isatty(STDOUT_FILENO) != 0; }

bool output_is_open() { return ::fcntl(STDOUT_FILENO, F_GETFD) != -1; }
