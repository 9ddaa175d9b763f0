/// Hash of names that come from strangers: keyed once per process with a random secret, so that
/// nobody can prepare names that collide.
#pragma once

#include <cstddef>
#include <string_view>

struct Tm_name_hash {
    std::size_t operator()(std::string_view name) const;
};
