/// The layouts that the process keeps: a table of small shelves, each with a lock of its own. A
/// thread skips a shelf that another thread uses, because kept layouts only save time and memory.
///
/// Each thread keeps layouts of its own. Each struct counts as an owner of its layout, and
/// processors that change the count of one layout in turn wait for each other.
#include <array>
#include <atomic>
#include <type_traits>
#include <utility>

#include "tmsg/value/internal/tm_layout.h"
#include "tmsg/value/internal/tm_name_hash.h"

namespace {

/// The most bytes of the layouts on a shelf; a larger layout is not kept.
constexpr std::size_t most_bytes = 32768;
constexpr std::size_t shelf_count = 256;
constexpr std::size_t places_on_a_shelf = 4;
/// Further threads share the layouts of earlier ones.
constexpr std::uint64_t lane_count = 16;
constexpr std::size_t cache_line = 64;

struct Kept {
    std::uint64_t key = 0;
    std::size_t bytes = 0;
    Tm_layout* layout = nullptr;  ///< the shelf is one of its owners
};

using Places = std::array<Kept, places_on_a_shelf>;

/// Places that are no longer on a shelf. Drops their layouts when it is destroyed.
struct Dropped {
    Dropped() = default;
    explicit Dropped(Places const& old) : places(old) {}
    Dropped(Dropped const&) = delete;
    Dropped& operator=(Dropped const&) = delete;
    ~Dropped() {
        for (Kept const& old : places) Tm_layout::Ref const owner(old.layout);
    }
    Places places = {};
};

struct alignas(cache_line) Shelf {
    std::atomic_flag is_in_use = ATOMIC_FLAG_INIT;
    Places places;  ///< the newest first
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

/// Shelves need no code at the start of the process. None is destroyed at its end, because messages
/// may be destroyed later.
static_assert(std::is_trivially_destructible_v<Shelf>);
std::array<Shelf, shelf_count> shelves;

Shelf& shelf_of(std::uint64_t key) { return shelves[key % shelf_count]; }

std::uint64_t lane_of_thread() {
    static std::atomic<std::uint64_t> threads{0};
    thread_local std::uint64_t const lane =
        threads.fetch_add(1, std::memory_order_relaxed) % lane_count;
    return lane;
}

std::uint64_t key_of(std::uint64_t place, std::string_view first_name) {
    return tm_mix(tm_hash_name(first_name) ^ lane_of_thread(), place);
}

/// Returns whether a kept layout begins with all names of this one, and so serves the same structs.
bool has(Places const& places, std::uint64_t key, Tm_layout const& layout) {
    for (Kept const& known : places) {
        bool const is_there = known.key == key && known.layout != nullptr &&
                              known.layout->begins_like(layout, layout.size());
        if (is_there) return true;
    }
    return false;
}

/// Frees the layouts when the library is unloaded.
[[gnu::destructor]] void forget_layouts() {
    for (Shelf& shelf : shelves) {
        Shelf_lock const lock(shelf);
        if (lock.is_held()) Dropped const dropped(std::exchange(shelf.places, Places()));
    }
}

}  // namespace

Tm_layout::Ref tm_recall_layout(std::uint64_t place, Tm_layout const* before, unsigned int count,
                                std::string_view next) {
    std::uint64_t const key = key_of(place, count == 0 ? next : tm_text_view((*before)[0]));
    Shelf& shelf = shelf_of(key);
    Shelf_lock const lock(shelf);
    if (!lock.is_held()) return {};
    for (Kept const& known : shelf.places) {
        bool const fits = known.key == key && known.layout != nullptr &&
                          known.layout->has(count, next) &&
                          (count == 0 || known.layout->begins_like(*before, count));
        if (fits) return Tm_layout::Ref::share(known.layout);
    }
    return {};
}

void tm_keep_layout(std::uint64_t place, Tm_layout::Ref const& layout) noexcept {
    layout->seal();
    bool const may_be_kept = layout->size() > 0 && layout->table() == nullptr;
    std::size_t const bytes = may_be_kept ? layout->bytes() : 0;
    if (!may_be_kept || bytes > most_bytes) return;
    std::uint64_t const key = key_of(place, tm_text_view((*layout)[0]));
    Shelf& shelf = shelf_of(key);
    // Declared before the lock, so that dropped layouts are freed without it.
    Dropped dropped;
    Shelf_lock const lock(shelf);
    if (!lock.is_held() || has(shelf.places, key, *layout)) return;
    dropped.places.swap(shelf.places);
    shelf.places.front() = {key, bytes, Tm_layout::Ref(layout).release()};
    std::size_t sum = bytes;
    for (std::size_t i = 0; i + 1 < places_on_a_shelf; ++i) {
        sum += dropped.places[i].bytes;
        if (sum > most_bytes) break;
        std::swap(shelf.places[i + 1], dropped.places[i]);
    }
}
