/// A catalogue stores each name once and numbers the names from 0 on, in the order in which they
/// are first added. It holds the names of members that are sent by index, or the names of structs.
/// A pointer to an entry is valid until clear() or the destructor of the catalogue that owns it.
/// Only one thread at a time may use a catalogue.
///
///     Tm_catalog<std::string> names;
///     names.add("count");                       // index 0
///     names.add("article");                     // index 1
///     unsigned int i = names.add("count")->second;  // 0: the name is there already
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/value/tm_owners.h"

/// Defined for std::string only.
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

    /// Returns the number of names.
    unsigned int size() const { return static_cast<unsigned int>(entries_.size()); }
    /// Returns the index that the next new name gets.
    unsigned int next_index() const { return next_index_; }

    /// Removes all names. The next name gets next_index(), not 0.
    void clear() noexcept;
    /// Exchanges the names and the next indexes.
    void swap(Tm_catalog& other) noexcept;

    /// Returns the entry at a position in the order of the indexes. `position` must be less than
    /// size(). It equals the index unless clear() was called.
    entry const& operator[](std::size_t position) const { return *entries_[position]; }

private:
    /// An entry of the hash table. A free one has 0 as position_plus_one.
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
