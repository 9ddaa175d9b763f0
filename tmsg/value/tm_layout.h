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

#include "tmsg/value/tm_counted_ptr.h"
#include "tmsg/value/tm_text.h"

class Tm_layout {
public:
    using Ref = Tm_counted_ptr<Tm_layout>;

    /// A new layout without names.
    static Ref make();
    /// A new layout with the first `count` names of this one, which it copies.
    Ref fork(unsigned int count) const;
    /// The same for a layout with a table: the names stay there.
    Ref fork_in_table(unsigned int count) const;

    Tm_layout(Tm_layout const&) = delete;
    Tm_layout& operator=(Tm_layout const&) = delete;

    unsigned int size() const { return static_cast<unsigned int>(names_.size()); }
    /// The name's text (see tm_text.h). Throws std::out_of_range for a position that is not there.
    char const* at(std::size_t position) const { return names_.at(position); }
    /// The same without a check.
    char const* operator[](std::size_t position) const { return names_[position]; }
    /// The length of the longest name.
    std::size_t longest() const { return longest_; }
    /// Whether the name at this position is there and is this one.
    bool has(unsigned int position, std::string_view name) const {
        return position < size() && tm_text_equals(names_[position], name);
    }
    /// Whether the first `count` names are those of the other.
    bool begins_like(Tm_layout const& other, unsigned int count) const;

    /// The first position from `from` on with that name, else the first of all, among the first
    /// `count` names; -1 where there is none. The first call makes a table for all later ones.
    int find(std::string_view name, unsigned int from, unsigned int count) const;

    bool is_sealed() const { return is_sealed_.load(std::memory_order_relaxed); }
    void seal() { is_sealed_.store(true, std::memory_order_relaxed); }

    /// Adds a name to a layout that is neither sealed nor has a table.
    void append(std::string_view name);
    /// Adds a name that stands in a table, which lives as long as this layout from now on. Every
    /// name of a layout with a table stands in that one.
    void append_from(Ref const& table, std::size_t position);
    Tm_layout const* table() const { return table_.get(); }

    /// Returns the bytes of memory that the layout takes, without the names in a table.
    std::size_t bytes() const;

    /// How large structs of this layout have been lately, as a guess for the next one. A guess
    /// stays small: larger structs grow as their members arrive.
    struct alignas(8) Extent {
        std::uint32_t members = 0;
        std::uint32_t text = 0;  ///< bytes of strings
    };
    Extent usual_extent() const { return usual_.load(std::memory_order_relaxed); }
    void note_extent(Extent extent);

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

/// The layouts of recent structs, of the whole process, so that a struct like an earlier one stores
/// no name. A layout is found by its first name and a number that says where its structs stand.
/// What is kept is bounded; all of these functions may be called by many threads at once.
///
/// A layout kept for that place with that first name; null where there is none.
Tm_layout::Ref tm_recall_layout(std::uint64_t place, std::string_view first_name);
/// One of them that has the first `count` names of `layout` and then `next`; null for none.
Tm_layout::Ref tm_recall_layout_like(std::uint64_t place, Tm_layout const& layout,
                                     unsigned int count, std::string_view next);
/// Seals the layout and keeps it, unless it is large.
void tm_keep_layout(std::uint64_t place, Tm_layout::Ref const& layout) noexcept;
