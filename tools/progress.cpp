#include "progress.h"

#include <unistd.h>

#include <iostream>
#include <utility>

namespace {

constexpr std::chrono::milliseconds interval(300);
constexpr std::size_t megabyte = 1000000;

}  // namespace

Progress::Progress(std::string what, std::size_t total)
    : what_(std::move(what)),
      total_(total),
      is_wanted_(::isatty(STDERR_FILENO) != 0 && ::isatty(STDOUT_FILENO) == 0),
      next_(Clock::now() + interval) {}

Progress::~Progress() {
    if (is_shown_) std::cerr << "\r\x1B[K" << std::flush;
}

void Progress::advance(std::size_t bytes) {
    done_ += bytes;
    if (!is_wanted_) return;
    auto const now = Clock::now();
    if (now < next_) return;
    next_ = now + interval;
    is_shown_ = true;
    show();
}

void Progress::show() const {
    std::cerr << '\r' << what_ << ' ' << done_ / megabyte << " MB";
    if (total_ > 0) std::cerr << ", " << done_ * 100 / total_ << " %";
    std::cerr << "\x1B[K" << std::flush;
}
