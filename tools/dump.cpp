#include "dump.h"

#include "descriptor.h"
#include "failure.h"
#include "output.h"

namespace {

constexpr std::size_t capacity = 1 << 16;

}  // namespace

Dump::Dump(Tm_limits const& limits, unsigned long max_text)
    : file_(open_temporary_file()), decoder_(capacity, file_.get(), limits, max_text) {}

bool Dump::add(unsigned char const* data, std::size_t size) {
    return tm_feed(decoder_, data, size);
}

void Dump::write() {
    decoder_.finalize();
    if (!decoder_.error().empty()) throw Failure(decoder_.error());
    bool const is_written = std::fflush(file_.get()) == 0 && std::ferror(file_.get()) == 0;
    if (!is_written) throw Failure::of_system("failed to write to a temporary file");
    std::rewind(file_.get());
    char block[capacity];
    for (std::size_t got = 0; (got = std::fread(block, 1, sizeof block, file_.get())) != 0;) {
        write_output({block, got});
    }
    if (std::ferror(file_.get()) != 0) throw Failure::of_system("failed to read a temporary file");
}
