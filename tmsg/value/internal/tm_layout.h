/// The names of a struct's members, in order. Structs share layouts: the names of a struct with n
/// members are the first n names of its layout.
///
/// A layout only ever grows, by the one struct that builds it, until it is sealed. A sealed layout
/// never changes again, so that any number of threads may share it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "tmsg/value/tm_owners.h"
#include "tmsg/value/tm_text.h"

struct Tm_next_name;

class Tm_layout {
public:
    using Ref = Tm_counted_ptr<Tm_layout>;

    /// Makes a layout without names.
    static Ref make();
    /// Makes a layout with the first `count` names of this one, to which `next` can be appended. It
    /// copies names unless they are in the same table as `next`.
    Ref fork(unsigned int count, Tm_next_name const& next) const;

    Tm_layout(Tm_layout const&) = delete;
    Tm_layout& operator=(Tm_layout const&) = delete;

    unsigned int size() const { return static_cast<unsigned int>(names_.size()); }
    /// Returns the name's text (see tm_text.h). Throws std::out_of_range for a position without a
    /// name.
    char const* at(std::size_t position) const { return names_.at(position); }
    /// Does the same without a check.
    char const* operator[](std::size_t position) const { return names_[position]; }
    /// Returns the length of the longest name, in bytes.
    std::size_t longest() const { return longest_; }
    /// Returns whether the position has a name and it equals this one.
    bool has(unsigned int position, std::string_view name) const {
        return position < size() && tm_text_equals(names_[position], name);
    }
    /// Names in one table are compared by their places there, because the texts may be long.
    bool has(unsigned int position, Tm_next_name const& name) const;
    /// Returns whether the first `count` names of both layouts are equal.
    bool begins_like(Tm_layout const& other, unsigned int count) const;

    /// Searches the first `count` names. Returns the first position from `from` on with that name,
    /// or else the first position with it, or -1. The first call makes a hash table for later
    /// calls.
    int find(std::string_view name, unsigned int from, unsigned int count) const;

    bool is_sealed() const { return is_sealed_.load(std::memory_order_relaxed); }
    void seal() { is_sealed_.store(true, std::memory_order_relaxed); }

    /// Returns whether the name may be appended at this position. The layout must not be sealed,
    /// and all names must be in the same table, or none of them in a table.
    bool can_append(unsigned int position, Tm_next_name const& name) const;
    /// Adds a name. A table lives as long as the layouts with names in it.
    void append(Tm_next_name const& name);
    /// Returns the table that has all names, or null when the layout has copies of them.
    Tm_layout const* table() const { return table_.get(); }

    /// Returns the bytes of memory that the layout takes, without the names in a table.
    std::size_t bytes() const;

    /// The size of recent structs of this layout, as a guess for the next one. A guess stays small,
    /// because larger structs grow as their members arrive.
    struct alignas(8) Extent {
        std::uint32_t members = 0;
        std::uint32_t text = 0;  ///< bytes of strings
    };
    Extent usual_extent() const { return usual_.load(std::memory_order_relaxed); }
    void note_extent(Extent extent) {
        Extent const usual = usual_extent();
        bool const is_usual = extent.members <= usual.members &&
                              extent.members >= usual.members / 2 && extent.text <= usual.text &&
                              extent.text >= usual.text / 4;
        if (!is_usual) change_extent(extent);
    }

private:
    class Positions;

    friend Ref;

    Tm_layout();
    ~Tm_layout();
    void keep() noexcept { owners_.fetch_add(1, std::memory_order_relaxed); }
    void drop() noexcept {
#ifndef __clang_analyzer__  // takes each owner for the last one
        if (owners_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
#endif
    }
    void add(char const* name);
    void change_extent(Extent extent);
    Positions const& make_positions() const;

    std::atomic<std::uint32_t> owners_{1};
    std::atomic<bool> is_sealed_{false};
    std::atomic<Extent> usual_{};
    std::vector<char const*> names_;
    std::size_t longest_ = 0;
    Tm_texts texts_;
    Ref table_;
    mutable std::atomic<Positions*> positions_{nullptr};
};

/// The next name of a struct, and the places where a layout with it may be found.
struct Tm_next_name {
    std::string_view text;
    std::uint64_t place = 0;                ///< a number for the struct's place in the tree
    Tm_layout::Ref const* table = nullptr;  ///< the table that has the text, or null
    std::vector<Tm_layout::Ref> const* recent = nullptr;  ///< layouts with names in the table

    Tm_layout const* table_layout() const { return table == nullptr ? nullptr : table->get(); }
    /// Returns a sealed layout with the first `count` names of `before` and then this name, or null
    /// when there is none.
    Tm_layout::Ref recall(Tm_layout const* before, unsigned int count) const;
};

inline bool Tm_layout::has(unsigned int position, Tm_next_name const& name) const {
    bool const is_same_table = table_ && table() == name.table_layout();
    if (!is_same_table) return has(position, name.text);
    return position < size() && names_[position] == name.text.data();
}

/// The process keeps the layouts of recent structs, so that a struct like an earlier one stores no
/// name. A layout is found by its first name and a number for the place of its structs. The memory
/// is bounded. Many threads may call both functions at once.
///
/// Returns a layout kept for that place with the first `count` names of `before` and then `next`,
/// or null when there is none. `before` may be null when `count` is 0.
Tm_layout::Ref tm_recall_layout(std::uint64_t place, Tm_layout const* before, unsigned int count,
                                std::string_view next);
/// Seals the layout and keeps it, unless it is large.
void tm_keep_layout(std::uint64_t place, Tm_layout::Ref const& layout) noexcept;
