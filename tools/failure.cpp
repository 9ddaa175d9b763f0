#include "failure.h"

#include <cerrno>
#include <iostream>
#include <new>
#include <system_error>

#include "printable.h"

namespace {

/// Some texts quote the input, which may be long.
constexpr std::size_t longest_line = 2000;

}  // namespace

Failure Failure::of_system(std::string const& what) {
    return Failure(what + ": " + std::generic_category().message(errno));
}

char const* text_of(std::exception const& error) {
    bool const is_memory = dynamic_cast<std::bad_alloc const*>(&error) != nullptr;
    return is_memory ? "out of memory" : error.what();
}

void report(std::string_view text) {
    bool const is_cut = text.size() > longest_line;
    std::cerr << "tmsg: " << printable(text.substr(0, longest_line)) << (is_cut ? "..." : "")
              << std::endl;
}
