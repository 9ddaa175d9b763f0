/// Names stored once, each with a dense index in the order of first addition: the names of members
/// that are sent by index, and those of structs that were given a catalogue. Entries never move: a
/// pointer to one stays valid until the catalogue is cleared or destroyed. One thread at a time.
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

    /// The entry of `name`, made with the next index when there is none.
    entry const* add(std::string_view name);
    /// Null when absent.
    entry const* find(std::string_view name) const;

    unsigned int size() const { return static_cast<unsigned int>(entries_.size()); }
    unsigned int next_index() const { return next_index_; }

    /// Forgets all names; indexes go on from where they were.
    void clear() noexcept;
    void swap(Tm_catalog& other) noexcept;

    /// The entries in index order; position < size().
    entry const& operator[](std::size_t position) const { return *entries_[position]; }

private:
    /// A place of the hash table: a free one has no position.
    struct Slot {
        std::uint32_t hash;
        std::uint32_t position_plus_one;
    };

    entry const* find_hashed(std::string_view name, std::uint32_t hash) const;
    void place(std::uint32_t hash, std::size_t position);
    void rebuild_table();

    std::vector<Tm_owned<entry>> entries_;
    std::vector<Slot> table_;  ///< empty while there are few names; else a power of two
    unsigned int next_index_ = 0;
};
