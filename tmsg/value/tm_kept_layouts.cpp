/// The layouts that the process keeps: a table of small shelves, each with a lock of its own. A
/// shelf that is in use by another thread is passed over: its layouts are a help, not a need.
#include <array>

#include "tmsg/value/tm_layout.h"
#include "tmsg/value/tm_name_hash.h"

namespace {

/// A larger layout is not kept: all that are kept take a few megabytes at most.
constexpr std::size_t most_bytes = 32768;
constexpr std::size_t shelf_count = 64;
constexpr std::size_t places_on_a_shelf = 4;

struct Kept {
    std::uint64_t key = 0;
    Tm_layout::Ref layout;
};

struct Shelf {
    std::atomic_flag is_in_use = ATOMIC_FLAG_INIT;
    std::size_t next = 0;  ///< the place that is used again next
    std::array<Kept, places_on_a_shelf> places;
};

/// Holds a shelf while it lives, if no other thread does.
class Shelf_lock {
public:
    explicit Shelf_lock(Shelf& shelf)
        : shelf_(shelf), is_held_(!shelf.is_in_use.test_and_set(std::memory_order_acquire)) {}
    Shelf_lock(Shelf_lock const&) = delete;
    Shelf_lock& operator=(Shelf_lock const&) = delete;
    ~Shelf_lock() {
        if (is_held_) shelf_.is_in_use.clear(std::memory_order_release);
    }
    bool is_held() const { return is_held_; }

private:
    Shelf& shelf_;
    bool is_held_;
};

/// Never destroyed by the end of the process, for messages may be destroyed later.
union Shelves {
    constexpr Shelves() : shelves() {}
    Shelves(Shelves const&) = delete;
    Shelves& operator=(Shelves const&) = delete;
    ~Shelves() {}  // NOLINT(modernize-use-equals-default): the default is deleted
    std::array<Shelf, shelf_count> shelves;
};

Shelves kept;

Shelf& shelf_of(std::uint64_t key) { return kept.shelves[key % shelf_count]; }

std::uint64_t key_of(std::uint64_t place, std::string_view first_name) {
    return tm_mix(tm_hash_name(first_name), place);
}

/// The first kept layout with that key that fits.
template <class Fits>
Tm_layout::Ref recall(std::uint64_t key, Fits fits) {
    Shelf& shelf = shelf_of(key);
    Shelf_lock const lock(shelf);
    if (!lock.is_held()) return {};
    for (Kept const& place : shelf.places) {
        if (place.key == key && place.layout && fits(*place.layout)) return place.layout;
    }
    return {};
}

/// The memory goes back when the library is unloaded.
[[gnu::destructor]] void forget_layouts() {
    for (Shelf& shelf : kept.shelves) {
        Shelf_lock const lock(shelf);
        if (lock.is_held()) shelf.places = {};
    }
}

}  // namespace

Tm_layout::Ref tm_recall_layout(std::uint64_t place, std::string_view first_name) {
    return recall(key_of(place, first_name),
                  [&](Tm_layout const& layout) { return layout.has(0, first_name); });
}

Tm_layout::Ref tm_recall_layout_like(std::uint64_t place, Tm_layout const& layout,
                                     unsigned int count, std::string_view next) {
    return recall(key_of(place, tm_text_view(layout[0])), [&](Tm_layout const& other) {
        return other.has(count, next) && other.begins_like(layout, count);
    });
}

void tm_keep_layout(std::uint64_t place, Tm_layout::Ref const& layout) noexcept {
    layout->seal();
    bool const is_worth_it =
        layout->size() > 0 && layout->table() == nullptr && layout->bytes() <= most_bytes;
    if (!is_worth_it) return;
    std::uint64_t const key = key_of(place, tm_text_view((*layout)[0]));
    Shelf& shelf = shelf_of(key);
    Kept replaced = {key, layout};
    Shelf_lock const lock(shelf);
    if (!lock.is_held()) return;
    for (Kept const& known : shelf.places) {
        bool const is_there = known.key == key && known.layout &&
                              known.layout->size() == layout->size() &&
                              known.layout->begins_like(*layout, layout->size());
        if (is_there) return;
    }
    std::swap(shelf.places[shelf.next], replaced);
    shelf.next = (shelf.next + 1) % places_on_a_shelf;
}
