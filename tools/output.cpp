#include "output.h"

#include <unistd.h>

#include <cstdio>

#include "interrupt.h"

namespace {

[[noreturn]] void fail() {
    throw_if_interrupted();
    throw Failure::of_system("failed to write to standard output");
}

}  // namespace

void write_output(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) fail();
}

void flush_output() {
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) fail();
}

void end_text_output() {
    if (output_is_terminal()) write_output("\n");
    flush_output();
}

bool output_is_terminal() { return ::isatty(STDOUT_FILENO) != 0; }
