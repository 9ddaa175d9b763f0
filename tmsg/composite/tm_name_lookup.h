/// Finds members by name in a struct too large to scan. Filled as far as it has been asked, it
/// grows with the struct; it views the names where they stand and must be dropped before they go.
#pragma once

#include <string_view>
#include <unordered_map>
#include <vector>

#include "tmsg/value/tm_name_hash.h"

class Tm_name_lookup {
public:
    /// Takes in the members up to `count`; `name_at(i)` is the name of member i.
    template <class Name_at>
    void cover(int count, Name_at name_at) {
        for (; covered_ < count; ++covered_) positions_[name_at(covered_)].push_back(covered_);
    }

    /// The first position at or after `from` with that name, else the first of all; -1 for none.
    int find(std::string_view name, int from) const;

private:
    std::unordered_map<std::string_view, std::vector<int>, Tm_name_hash> positions_;
    int covered_ = 0;
};
