/// Makes the table of the latencies.
#include "verbs/measure.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "io/output.h"
#include "io/system.h"
#include "nats/over_nats.h"

namespace {

using Latencies = std::vector<std::chrono::nanoseconds>;

/// Writes the row of a table whose numbers stand one below the other.
void write_row(char const* name, double value, int digits, char const* unit) {
    char row[160];
    std::snprintf(row, sizeof row, "%-16s %14.*f%s\n", name, digits, value, unit);
    write_output(row);
}

/// Writes the smallest latency that this share of all calls does not exceed. The latencies are
/// sorted, and there is one.
void write_latency(char const* name, Latencies const& latencies, double share) {
    double const rank = std::ceil(share * static_cast<double>(latencies.size()));
    auto const value = latencies[static_cast<std::size_t>(std::max(rank, 1.0)) - 1];
    write_row(name, std::chrono::duration<double, std::micro>(value).count(), 1, " us");
}

void write_table(Load_plan const& plan, Load_result& result) {
    double const seconds = std::chrono::duration<double>(result.time).count();
    write_row("calls", static_cast<double>(plan.calls), 0, "");
    write_row("errors", static_cast<double>(result.errors), 0, "");
    write_row("seconds", seconds, 3, "");
    write_row("calls per second", static_cast<double>(plan.calls) / seconds, 1, "");
    Latencies& latencies = result.latencies;
    if (latencies.empty()) return;
    std::sort(latencies.begin(), latencies.end());
    write_latency("minimum", latencies, 0);
    write_latency("median", latencies, 0.5);
    write_latency("99%", latencies, 0.99);
    write_latency("maximum", latencies, 1);
}

}  // namespace

void measure_calls(Load_plan const& plan) {
    Load_result result = is_nats(plan.address) ? load_over_nats(plan) : Load(plan).run();
    write_table(plan, result);
    flush_output();
    if (result.errors == 0) return;
    throw Failure(std::to_string(result.errors) + " of " + std::to_string(plan.calls) +
                  " calls failed, the first: " + result.first_error);
}
