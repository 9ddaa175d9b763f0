/// Waits with poll, and lets signals end the wait.
#include "net/poll.h"

#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

#include "io/system.h"

namespace {

timespec to_timespec(std::chrono::nanoseconds time) {
    auto const positive = std::max(time, std::chrono::nanoseconds::zero());
    auto const seconds = std::chrono::duration_cast<std::chrono::seconds>(positive);
    return {seconds.count(), (positive - seconds).count()};
}

}  // namespace

bool wait_for(std::vector<pollfd>& handles, std::chrono::nanoseconds longest) {
    Blocked_signals const signals;
    if (is_interrupted()) return false;
    timespec const time = to_timespec(longest);
    if (::ppoll(handles.data(), handles.size(), &time, &signals.before()) >= 0) return true;
    if (errno != EINTR) throw Failure::of_system("failed to wait for connections");
    for (pollfd& handle : handles) handle.revents = 0;
    return !is_interrupted();
}

std::size_t count_places(std::size_t most, std::size_t each) {
    rlim_t const wanted = most * each;
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) throw Failure::of_system("failed to get a limit");
    if (limit.rlim_cur < wanted) {
        rlimit const raised = {std::min(wanted, limit.rlim_max), limit.rlim_max};
        if (::setrlimit(RLIMIT_NOFILE, &raised) == 0) limit = raised;
    }
    return std::max<std::size_t>(std::min(wanted, limit.rlim_cur) / each, 1);
}

bool is_not_ready() { return errno == EWOULDBLOCK || errno == EAGAIN || errno == EINTR; }
