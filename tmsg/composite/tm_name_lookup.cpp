#include "tmsg/composite/tm_name_lookup.h"

#include <algorithm>

int Tm_name_lookup::find(std::string_view name, int from) const {
    auto const found = positions_.find(name);
    if (found == positions_.end()) return -1;
    std::vector<int> const& positions = found->second;
    auto const next = std::lower_bound(positions.begin(), positions.end(), from);
    return next == positions.end() ? positions.front() : *next;
}
