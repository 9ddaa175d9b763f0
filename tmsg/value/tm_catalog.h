/// A catalogue stores each name once and numbers the names from 0 in the order of first addition.
/// It holds the names of members that are sent by index, or the names of the structs that share it.
/// A pointer to an entry stays valid until the catalogue is cleared or destroyed.
/// Only one thread at a time may use a catalogue.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/value/tm_owners.h"

/// Exists for std::string only.
template <class T>
class Tm_catalog;

template <>
class TMSG_API Tm_catalog<std::string> {
public:
    /// A stored name and its index.
    using entry = std::pair<std::string const, unsigned int>;

    Tm_catalog();
    Tm_catalog(Tm_catalog const& other);
    Tm_catalog& operator=(Tm_catalog const& other);
    ~Tm_catalog();

    /// Returns the entry of `name`. Adds one with the next index when there is none.
    entry const* add(std::string_view name);
    /// Returns null when there is no such name.
    entry const* find(std::string_view name) const;

    unsigned int size() const { return static_cast<unsigned int>(entries_.size()); }
    unsigned int next_index() const { return next_index_; }

    /// Removes all names. The next name gets the next index, not 0.
    void clear() noexcept;
    void swap(Tm_catalog& other) noexcept;

    /// Returns an entry, in the order of indexes. `position` must be less than size().
    entry const& operator[](std::size_t position) const { return *entries_[position]; }

private:
    /// A place of the hash table. A free place holds 0 as position_plus_one.
    struct Slot {
        std::uint32_t hash;
        std::uint32_t position_plus_one;
    };

    entry const* find_hashed(std::string_view name, std::uint32_t hash) const;
    void place(std::uint32_t hash, std::size_t position);
    void rebuild_table();

    std::vector<Tm_owned<entry>> entries_;
    std::vector<Slot> table_;  ///< empty while names are few, else a power of two long
    unsigned int next_index_ = 0;
};
