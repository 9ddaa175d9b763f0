/// Compares tmsg with other libraries: all do the same operations on the same data.
///
///   peers check               checks that every peer returns every value
///   peers sizes               prints encoded sizes: workload, peer, bytes
///   peers measure [FILTER]    prints times: operation, workload, peer, nanoseconds of each round
///
/// The output is lines of words separated by tabs. The filter is OPERATION/WORKLOAD. Each of the
/// two is the beginning of a name. Without a filter, all operations are measured.
#include <malloc.h>

#include <cstdio>
#include <exception>
#include <string>

#include "measure.h"
#include "suite.h"

namespace {

using namespace peers;

int check(Suite const& suite) {
    bool good = true;
    for (auto const& peer : suite.peers) {
        for (Kind kind : all_kinds) {
            for (auto const& fault : peer.find_faults(kind)) {
                std::printf("%s, %s: %s\n", peer.name.c_str(), label(kind), fault.c_str());
                good = false;
            }
        }
    }
    return good ? 0 : 1;
}

int print_sizes(Suite const& suite) {
    for (Kind kind : all_kinds) {
        for (auto const& peer : suite.peers)
            std::printf("%s\t%s\t%zu\n", label(kind), peer.name.c_str(), peer.encoded_size(kind));
    }
    return 0;
}

int run(int argc, char** argv) {
    Suite suite;
    add_tmsg(suite);
    add_msgpack(suite);
    add_rapidjson(suite);
    add_nlohmann(suite);
    add_cbor(suite);
    add_protobuf(suite);
    add_bson(suite);

    std::string const verb = argc > 1 ? argv[1] : "";
    if (verb == "check" && argc == 2) return check(suite);
    if (verb == "sizes" && argc == 2) return print_sizes(suite);
    if (verb == "measure" && argc <= 3) return measure_all(suite, argc == 3 ? argv[2] : "");
    std::fputs("Usage: peers check | sizes | measure [OPERATION/WORKLOAD]\n", stderr);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    // Freed memory stays in the process. Otherwise the page faults of large blocks, which depend on
    // how the heap happens to lie, take more time than the libraries.
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, -1);
    try {
        return run(argc, argv);
    } catch (std::exception const& e) {
        std::fprintf(stderr, "peers: %s\n", e.what());
        return 1;
    }
}
