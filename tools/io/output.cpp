/// Writes the output in blocks.
#include "io/output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>
#include <utility>

#include "io/terminal.h"

namespace {

constexpr std::size_t output_block = 1 << 16;

/// Where the output goes, and the output that waits.
struct Output {
    std::string path;  ///< empty for standard output
    Descriptor file;   ///< opened by the first output
    int other = -1;    ///< a descriptor that takes the place of the file
    std::string waiting;
    std::size_t written = 0;
    bool ends_line = true;
};

Output& output() {
    static Output the_output;
    return the_output;
}

[[noreturn]] void fail(std::string const& what) {
    throw Output_failure{Failure::of_system(what).what()};
}

int descriptor() {
    std::string const& path = output().path;
    if (output().other >= 0) return output().other;
    if (path.empty()) return STDOUT_FILENO;
    Descriptor& file = output().file;
    if (file.get() < 0) {
        file = Descriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
        if (file.get() < 0) fail("failed to open " + path);
        file = above_standard(std::move(file));
    }
    return file.get();
}

/// Uses no stdio, because stdio goes on writing when a signal comes.
void write_now(std::string_view text) {
    if (output_is_terminal()) wipe_progress();
    while (!text.empty()) {
        throw_if_interrupted();
        ssize_t const done =
            ::write(descriptor(), text.data(), std::min(text.size(), output_block));
        if (done >= 0) {
            text.remove_prefix(static_cast<std::size_t>(done));
        } else if (errno == EPIPE) {
            throw Closed_output();
        } else if (errno != EINTR) {
            std::string const& path = output().path;
            fail("failed to write to " + (path.empty() ? "standard output" : path));
        }
    }
}

}  // namespace

void end_by_closed_pipe() {
    std::signal(SIGPIPE, SIG_DFL);
    std::raise(SIGPIPE);
    std::_Exit(128 + SIGPIPE);
}

void write_output_to(std::string const& path) { output().path = path == "-" ? "" : path; }

void make_output() { descriptor(); }

bool is_output_file(int descriptor) {
    struct stat written = {};
    struct stat other = {};
    return !output().path.empty() && ::stat(output().path.c_str(), &written) == 0 &&
           ::fstat(descriptor, &other) == 0 && S_ISREG(other.st_mode) &&
           written.st_dev == other.st_dev && written.st_ino == other.st_ino;
}

void write_output(std::string_view text) {
    if (text.empty()) return;
    std::string& waiting = output().waiting;
    output().written += text.size();
    output().ends_line = text.back() == '\n';
    if (waiting.size() + text.size() >= output_block) {
        flush_output();
        if (text.size() >= output_block) return write_now(text);
    }
    waiting += text;
}

void flush_output() {
    std::string const text = std::exchange(output().waiting, {});
    if (!text.empty()) write_now(text);
}

std::size_t output_size() { return output().written; }

bool output_ends_line() { return output().ends_line; }

bool output_is_open() { return !output().path.empty() || ::fcntl(STDOUT_FILENO, F_GETFD) != -1; }

bool output_is_terminal() { return output().path.empty() && ::isatty(STDOUT_FILENO) != 0; }

Output_redirection::Output_redirection(int descriptor, std::string const& path) {
    if (!output().path.empty()) throw Bad_usage("--output excludes --in-place");
    output().path = path;
    output().other = descriptor;
}

Output_redirection::~Output_redirection() { output() = {}; }
