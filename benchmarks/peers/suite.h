/// The list of measurements and checks. It names no type of a library, so that each peer can be
/// compiled by itself.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "workloads.h"

namespace peers {

/// Does an operation `times` times.
using Run = std::function<void(long times)>;

struct Measurement {
    std::string operation;
    Kind kind;
    std::string peer;
    std::function<Run()> prepare;  // makes the input of the operation
};

struct Peer {
    std::string name;
    std::function<std::vector<std::string>(Kind)> find_faults;
    std::function<std::size_t(Kind)> encoded_size;
};

struct Suite {
    std::vector<Measurement> measurements;
    std::vector<Peer> peers;
};

void add_bson(Suite& suite);
void add_cbor(Suite& suite);
void add_msgpack(Suite& suite);
void add_nlohmann(Suite& suite);
void add_protobuf(Suite& suite);
void add_rapidjson(Suite& suite);
void add_tmsg(Suite& suite);

}  // namespace peers
