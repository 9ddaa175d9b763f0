#include "tmsg/value/internal/tm_layout.h"

#include <algorithm>
#include <memory>

#include "tmsg/value/internal/tm_name_hash.h"

/// Finds names in a layout too large to scan: a hash table with an entry for each different name.
class Tm_layout::Positions {
public:
    explicit Positions(std::vector<char const*> const& names) : names_(names) {
        while (added_ < names.size()) add_next();
    }

    /// Takes the next name of the layout in.
    void add_next();
    int find(std::string_view name, unsigned int from, unsigned int count) const;

private:
    /// A copy of the pointer to the text, so that a look-up reads no other table.
    struct Entry {
        char const* name = nullptr;  ///< null: no name here
        std::uint32_t hash = 0;
        std::int32_t place = 0;  ///< the position; where there are several, -1 minus their list
    };
    using List = std::vector<std::int32_t>;

    static std::uint32_t hash_of(std::string_view name) {
        return static_cast<std::uint32_t>(tm_hash_name(name));
    }
    static std::size_t list_of(Entry const& entry) {
        return static_cast<std::size_t>(-1 - entry.place);
    }
    std::size_t slot_of(std::string_view name, std::uint32_t hash) const;
    void grow();

    std::vector<char const*> const& names_;
    std::size_t added_ = 0;
    std::size_t different_ = 0;
    std::vector<Entry> entries_ = std::vector<Entry>(64);  ///< a power of two of them
    std::vector<List> repeated_;                           ///< all positions of a name, in order
};

/// Returns the place of the name's entry, or of a free entry for it.
inline std::size_t Tm_layout::Positions::slot_of(std::string_view name, std::uint32_t hash) const {
    std::size_t const mask = entries_.size() - 1;
    std::size_t at = hash & mask;
    for (; entries_[at].name != nullptr; at = (at + 1) & mask) {
        Entry const& entry = entries_[at];
        if (entry.hash == hash && tm_text_equals(entry.name, name)) break;
    }
    return at;
}

void Tm_layout::Positions::add_next() {
    if (2 * (different_ + 1) > entries_.size()) grow();
    char const* const name = names_[added_];
    std::uint32_t const hash = hash_of(tm_text_view(name));
    auto const position = static_cast<std::int32_t>(added_);
    Entry& entry = entries_[slot_of(tm_text_view(name), hash)];
    if (entry.name == nullptr) {
        entry = {name, hash, position};
        ++different_;
    } else if (entry.place >= 0) {
        repeated_.push_back({entry.place, position});
        entry.place = -static_cast<std::int32_t>(repeated_.size());
    } else {
        repeated_[list_of(entry)].push_back(position);
    }
    ++added_;
}

void Tm_layout::Positions::grow() {
    std::vector<Entry> larger(2 * entries_.size());
    std::size_t const mask = larger.size() - 1;
    for (Entry const& entry : entries_) {
        if (entry.name == nullptr) continue;
        std::size_t at = entry.hash & mask;
        while (larger[at].name != nullptr) at = (at + 1) & mask;
        larger[at] = entry;
    }
    entries_.swap(larger);
}

inline int Tm_layout::Positions::find(std::string_view name, unsigned int from,
                                      unsigned int count) const {
    Entry const& entry = entries_[slot_of(name, hash_of(name))];
    if (entry.name == nullptr) return -1;
    auto const end = static_cast<std::int32_t>(count);
    std::int32_t position = entry.place;
    if (position < 0) {
        List const& all = repeated_[list_of(entry)];
        auto const next = std::lower_bound(all.begin(), all.end(), static_cast<std::int32_t>(from));
        position = next != all.end() && *next < end ? *next : all.front();
    }
    return position < end ? position : -1;
}

Tm_layout::Tm_layout() = default;

Tm_layout::~Tm_layout() { delete positions_.load(std::memory_order_relaxed); }

Tm_layout::Ref Tm_layout::make() { return Ref(new Tm_layout); }

Tm_layout::Ref Tm_layout::fork(unsigned int count, Tm_next_name const& next) const {
    Ref copy = make();
    copy->names_.reserve(count + 1U);
    bool const stay_in_table = table_ && table() == next.table_layout();
    if (stay_in_table) {
        copy->names_.assign(names_.begin(), names_.begin() + count);
        copy->table_ = table_;
        copy->longest_ = longest_;
        return copy;
    }
    for (unsigned int i = 0; i < count; ++i) copy->append({tm_text_view(names_[i])});
    return copy;
}

bool Tm_layout::begins_like(Tm_layout const& other, unsigned int count) const {
    if (count > size() || count > other.size()) return false;
    bool const is_same_table = table_ && table() == other.table();
    for (unsigned int i = 0; i < count; ++i) {
        bool const is_equal =
            names_[i] == other.names_[i] ||
            (!is_same_table && tm_text_equals(names_[i], tm_text_view(other.names_[i])));
        if (!is_equal) return false;
    }
    return true;
}

bool Tm_layout::can_append(unsigned int position, Tm_next_name const& name) const {
    return !is_sealed() && size() == position && (position == 0 || table() == name.table_layout());
}

void Tm_layout::append(Tm_next_name const& name) {
    if (name.table == nullptr) return add(texts_.add(name.text));
    add(name.text.data());
    table_ = *name.table;
}

Tm_layout::Ref Tm_next_name::recall(Tm_layout const* before, unsigned int count) const {
    if (table == nullptr) return tm_recall_layout(place, before, count, text);
    for (Tm_layout::Ref const& known : *recent) {
        bool const fits =
            known->has(count, *this) && (count == 0 || known->begins_like(*before, count));
        if (fits) return known;
    }
    return {};
}

void Tm_layout::add(char const* name) {
    constexpr std::size_t first_capacity = 8;
    if (names_.capacity() == 0) names_.reserve(first_capacity);
    names_.push_back(name);
    longest_ = std::max<std::size_t>(longest_, tm_text_length(name));
    Positions* const positions = positions_.load(std::memory_order_relaxed);
    if (positions == nullptr) return;
    try {
        positions->add_next();
    } catch (...) {
        names_.pop_back();
        throw;
    }
}

int Tm_layout::find(std::string_view name, unsigned int from, unsigned int count) const {
    Positions const* const known = positions_.load(std::memory_order_acquire);
    return (known != nullptr ? *known : make_positions()).find(name, from, count);
}

/// Threads that look up at the same time may each make the table; the first one stays.
Tm_layout::Positions const& Tm_layout::make_positions() const {
    auto made = std::make_unique<Positions>(names_);
    Positions* known = nullptr;
    if (!positions_.compare_exchange_strong(known, made.get(), std::memory_order_acq_rel)) {
        return *known;
    }
    return *made.release();
}

std::size_t Tm_layout::bytes() const {
    return sizeof *this + names_.capacity() * sizeof(char const*) + texts_.allocated();
}

/// Follows larger structs at once, and smaller ones when they are much smaller.
void Tm_layout::change_extent(Extent extent) {
    constexpr std::uint32_t text_step = 16;
    constexpr std::uint32_t most_members = 32;
    constexpr std::uint32_t most_text = 256;
    Extent usual = usual_extent();
    extent.members = std::min(extent.members, most_members);
    extent.text = std::min((extent.text + text_step - 1) / text_step * text_step, most_text);
    if (extent.members > usual.members || extent.members < usual.members / 2) {
        usual.members = extent.members;
    }
    if (extent.text > usual.text || extent.text < usual.text / 4) usual.text = extent.text;
    usual_.store(usual, std::memory_order_relaxed);
}
