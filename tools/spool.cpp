#include "spool.h"

#include <algorithm>

#include "descriptor.h"
#include "failure.h"
#include "output.h"

namespace {

/// The bytes of each growing text that are not in the file yet.
constexpr std::size_t most_in_memory = 4096;

void expect(bool is_done) {
    if (!is_done) throw Failure::of_system("failed to use a temporary file");
}

}  // namespace

void Spool::append(Text& text, std::string_view more) {
    text.rest_ += more;
    if (text.rest_.size() >= most_in_memory) put_away(text);
}

void Spool::put_away(Text& text) {
    if (text.rest_.empty()) return;
    if (!file_) file_.reset(open_temporary_file());
    std::size_t const size = text.rest_.size();
    text.parts_.push_back({size_, size});
    expect(std::fwrite(text.rest_.data(), 1, size, file_.get()) == size);
    size_ += static_cast<long>(size);
    std::string().swap(text.rest_);
}

void Spool::write(Text const& text) {
    char block[most_in_memory];
    for (auto const& part : text.parts_) {
        expect(std::fseek(file_.get(), part.offset, SEEK_SET) == 0);
        for (std::size_t left = part.size; left > 0;) {
            std::size_t const size = std::min(left, sizeof block);
            expect(std::fread(block, 1, size, file_.get()) == size);
            write_output({block, size});
            left -= size;
        }
    }
    write_output(text.rest_);
}
