#include "measure.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <map>
#include <utility>

namespace peers {

namespace {

constexpr int rounds = 9;
constexpr double long_enough = 20e6;  // the least nanoseconds of a run whose time counts
/// A run that takes this long is not repeated to warm up.
constexpr double very_long = 200e6;

/// Returns the processor time of the process, in nanoseconds. On a shared machine the wall clock
/// counts the neighbours, too.
double processor_time() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return 1e9 * static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec);
}

double time_of(Run const& run, long times) {
    double const start = processor_time();
    run(times);
    return processor_time() - start;
}

/// Returns the nanoseconds of one call. Runs that are too short to count bring the buffers to their
/// size, and caches and allocator to a steady state.
double measure(Run const& run) {
    long times = 1;
    double taken = time_of(run, times);
    if (taken >= very_long) return taken;
    do {
        if (taken < long_enough) {
            double const growth = std::clamp(1.2 * long_enough / std::max(taken, 1.0), 1.0, 20.0);
            times = std::max(times + 1, static_cast<long>(static_cast<double>(times) * growth));
        }
        taken = time_of(run, times);
    } while (taken < long_enough);
    return taken / static_cast<double>(times);
}

bool starts_with(std::string const& text, std::string const& start) {
    return text.compare(0, start.size(), start) == 0;
}

bool selects(std::string const& filter, Measurement const& measurement) {
    auto const slash = std::min(filter.find('/'), filter.size());
    auto const workload = slash < filter.size() ? filter.substr(slash + 1) : "";
    return starts_with(measurement.operation, filter.substr(0, slash)) &&
           starts_with(label(measurement.kind), workload);
}

using Contest = std::vector<Measurement const*>;

void hold(Contest const& contest) {
    std::vector<std::vector<double>> times(contest.size());
    for (std::size_t round = 0; round < rounds; ++round) {
        for (std::size_t turn = 0; turn < contest.size(); ++turn) {
            // Every other round goes backwards, so that neighbours change.
            std::size_t const step = round % 2 == 0 ? turn : contest.size() - 1 - turn;
            std::size_t const peer = (round + step) % contest.size();
            times[peer].push_back(measure(contest[peer]->prepare()));
        }
    }
    for (std::size_t peer = 0; peer < contest.size(); ++peer) {
        auto const& [operation, kind, name, prepare] = *contest[peer];
        std::printf("%s\t%s\t%s", operation.c_str(), label(kind), name.c_str());
        for (double time : times[peer]) std::printf("\t%.1f", time);
        std::printf("\n");
    }
    std::fflush(stdout);
}

}  // namespace

int measure_all(Suite const& suite, std::string const& filter) {
    std::map<std::pair<Kind, std::string>, Contest> contests;
    for (auto const& measurement : suite.measurements) {
        if (selects(filter, measurement))
            contests[{measurement.kind, measurement.operation}].push_back(&measurement);
    }
    for (auto const& [name, contest] : contests) hold(contest);
    if (!contests.empty()) return 0;
    std::fprintf(stderr, "peers: nothing is named %s\n", filter.c_str());
    return 1;
}

}  // namespace peers
