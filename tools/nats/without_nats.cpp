/// The program without NATS.
#include "io/system.h"
#include "nats/over_nats.h"

namespace {

[[noreturn]] void refuse(std::string const& address) {
    throw Failure(address + ": this program was built without NATS");
}

}  // namespace

void check_nats_is_built(std::string const& address) { refuse(parse_nats(address).name()); }

std::unique_ptr<Message> call_over_nats(Load_plan const& plan, Temporary_files&) {
    refuse(plan.address);
}

Load_result load_over_nats(Load_plan const& plan) { refuse(plan.address); }
void serve_over_nats(Nats_serving& serving) { refuse(serving.place.name()); }
void watch_nats(Nats_watching& watching) { refuse(watching.place.name()); }
