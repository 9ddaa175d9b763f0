#include "tmsg/value/tm_catalog.h"

#include "tmsg/value/internal/tm_name_hash.h"

namespace {

/// Up to this many names a comparison with each is cheaper than a hash.
constexpr std::size_t few_names = 8;

std::uint32_t hash_of(std::string_view name) {
    return static_cast<std::uint32_t>(tm_hash_name(name));
}

}  // namespace

Tm_catalog<std::string>::Tm_catalog() = default;

Tm_catalog<std::string>::Tm_catalog(Tm_catalog const& other)
    : table_(other.table_), next_index_(other.next_index_) {
    entries_.reserve(other.entries_.size());
    for (auto const& stored : other.entries_)
        entries_.emplace_back(std::make_unique<entry>(*stored));
}

Tm_catalog<std::string>& Tm_catalog<std::string>::operator=(Tm_catalog const& other) {
    Tm_catalog copy(other);
    swap(copy);
    return *this;
}

Tm_catalog<std::string>::~Tm_catalog() = default;

Tm_catalog<std::string>::entry const* Tm_catalog<std::string>::find(std::string_view name) const {
    if (!table_.empty()) return find_hashed(name, hash_of(name));
    for (auto const& stored : entries_) {
        if (stored->first == name) return stored.get();
    }
    return nullptr;
}

Tm_catalog<std::string>::entry const* Tm_catalog<std::string>::add(std::string_view name) {
    std::uint32_t const hash = table_.empty() ? 0 : hash_of(name);
    entry const* const known = table_.empty() ? find(name) : find_hashed(name, hash);
    if (known != nullptr) return known;

    entries_.emplace_back(std::make_unique<entry>(name, next_index_));
    std::size_t const count = entries_.size();
    if (count > few_names) {
        if (count * 2 > table_.size()) {
            try {
                rebuild_table();
            } catch (...) {
                entries_.pop_back();
                throw;
            }
        } else {
            place(hash, count - 1);
        }
    }
    ++next_index_;
    return entries_.back().get();
}

void Tm_catalog<std::string>::clear() noexcept {
    entries_.clear();
    table_.clear();
}

void Tm_catalog<std::string>::swap(Tm_catalog& other) noexcept {
    entries_.swap(other.entries_);
    table_.swap(other.table_);
    std::swap(next_index_, other.next_index_);
}

Tm_catalog<std::string>::entry const* Tm_catalog<std::string>::find_hashed(
    std::string_view name, std::uint32_t hash) const {
    std::size_t const mask = table_.size() - 1;
    for (std::size_t at = hash & mask; table_[at].position_plus_one != 0; at = (at + 1) & mask) {
        if (table_[at].hash != hash) continue;
        entry const* const stored = entries_[table_[at].position_plus_one - 1].get();
        if (stored->first == name) return stored;
    }
    return nullptr;
}

void Tm_catalog<std::string>::place(std::uint32_t hash, std::size_t position) {
    std::size_t const mask = table_.size() - 1;
    std::size_t at = hash & mask;
    while (table_[at].position_plus_one != 0) at = (at + 1) & mask;
    table_[at] = {hash, static_cast<std::uint32_t>(position + 1)};
}

void Tm_catalog<std::string>::rebuild_table() {
    std::size_t size = table_.empty() ? 4 * few_names : table_.size();
    while (size < entries_.size() * 2) size *= 2;
    table_ = std::vector<Slot>(size, Slot{0, 0});
    for (std::size_t i = 0; i < entries_.size(); ++i) place(hash_of(entries_[i]->first), i);
}
