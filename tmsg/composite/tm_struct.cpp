#include "tmsg/composite/tm_struct.h"

#include <algorithm>
#include <utility>

#include "tmsg/composite/tm_grow.h"
#include "tmsg/composite/tm_name_lookup.h"
#include "tmsg/composite/tm_prenamed_struct.h"
#include "tmsg/composite/tm_slot.h"
#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_walk.h"

namespace {

/// A lookup by name compares this many members from the hint on before it takes a longer way.
constexpr int near_members = 16;
/// The lookup table is made when scans have cost as much as its making does.
constexpr long scans_before_table = 8;

constexpr int steps_per_member = 3;

}  // namespace

Tm_struct::Tm_struct(Tm_catalog<std::string>* shared) : names_(shared) {}

Tm_struct::Tm_struct(Tm_shared_names const& shared) : names_(shared) {}

Tm_struct::Tm_struct(Tm_member_names&& names) : names_(std::move(names)) {}

Tm_struct::Tm_struct(Tm_struct const& other)
    : Tm_value(other),
      Tm_member_getters(other),
      Tm_member_adders(other),
      values_(other.values_),
      indexes_(other.indexes_),
      names_(other.has_listed_names() ? Tm_member_names(other.names_) : Tm_member_names(nullptr)) {
    if (!other.has_listed_names()) list_names_of(other);
}

Tm_struct::Tm_struct(Tm_prenamed_struct const& other)
    : Tm_struct(static_cast<Tm_struct const&>(other)) {}

Tm_struct& Tm_struct::operator=(Tm_struct const& other) {
    if (this == &other) return *this;
    if (names_.owns_catalog()) {
        Tm_struct copy(other);
        swap_all(copy);
    } else {
        Tm_struct copy(names_.empty_sibling());
        copy.values_ = other.values_;
        copy.indexes_ = other.indexes_;
        copy.list_names_of(other);
        swap_all(copy);
    }
    return *this;
}

Tm_struct* Tm_struct::clone() const { return new Tm_struct(*this); }

Tm_struct::~Tm_struct() = default;

bool Tm_struct::equals(Tm_value const& other) const {
    if (other.get_value_type() != TMV_STRUCT) return false;
    auto const& right = static_cast<Tm_struct const&>(other);
    int const count = get_member_count();
    if (right.get_member_count() != count) return false;
    for (int i = 0; i < count; ++i) {
        if (name_at(i) != right.name_at(i)) return false;
        if (!tm_equal_or_both_absent(get_value(i), right.get_value(i))) return false;
    }
    return true;
}

TMV Tm_struct::get_value_type() const { return TMV_STRUCT; }

bool Tm_struct::accept(Tm_visitor& visitor) const {
    Tm_walk walk(visitor);
    if (!walk.step(0, [&] { return visitor.visit_struct_begin(); })) return false;

    int const count = get_member_count();
    bool const by_index =
        visitor.is_support_member_index() && indexes_.size() >= static_cast<std::size_t>(count);
    for (int i = walk.first_item(count, steps_per_member); i < count; ++i) {
        int const step = 1 + i * steps_per_member;
        bool const taken =
            walk.step(step, [&] { return accept_name(i, by_index, visitor); }) &&
            walk.step(step + 1, [&] { return tm_present(get_value(i)).accept(visitor); }) &&
            walk.step(step + 2, [&] { return visitor.visit_member_end(); });
        if (!taken) return false;
    }
    return walk.step(1 + count * steps_per_member, [&] { return visitor.visit_struct_end(); });
}

bool Tm_struct::accept_name(int i, bool by_index, Tm_visitor& visitor) const {
    if (by_index) return visitor.visit_member_begin(indexes_[static_cast<std::size_t>(i)]);
    std::string_view const name = name_at(i);
    return tm_walk_buffer<&Tm_visitor::visit_member_begin, &Tm_visitor::visit_member_continue>(
        name.data(), static_cast<unsigned int>(name.size()), visitor);
}

void Tm_struct::clear() {
    forget_lookup();
    names_.clear();
    values_.delete_and_remove_all();
    indexes_.clear();
    hint_ = 0;
}

std::string const& Tm_struct::listed_name(int i) const {
    int const count = static_cast<int>(names_.size());
    if (i < 0 || i >= count) throw Tm_out_of_range_exception(i, 0, count - 1);
    return names_[static_cast<std::size_t>(i)];
}

char const* Tm_struct::get_member_name(int i) const { return listed_name(i).c_str(); }

unsigned int Tm_struct::get_member_name_length(int i) const {
    return static_cast<unsigned int>(listed_name(i).size());
}

int Tm_struct::add_name(std::string const& name, Index* index) {
    std::string const& interned = names_.intern(name);
    names_.reserve_next();
    if (index != nullptr) {
        auto const wire_index = static_cast<unsigned short>(index->add(name)->second);
        tm_reserve_next(indexes_);
        indexes_.push_back(wire_index);
    }
    names_.append(interned);
    return static_cast<int>(names_.size()) - 1;
}

void Tm_struct::add_value_and_own(int, Tm_value* value) { values_.push_and_own(value); }

void Tm_struct::add_value_and_copy(int, Tm_value const* value) { values_.push_and_copy(value); }

Tm_value const* Tm_struct::get_value(int i) const { return values_.get_value(i); }

Tm_value* Tm_struct::get_value(int i) { return values_.get_value(i); }

void Tm_struct::place_member(std::string const& name, std::unique_ptr<Tm_value> value,
                             Index* index) {
    values_.reserve_next();
    int const position = add_name(name, index);
    add_value_and_own(position, value.release());
}

void Tm_struct::reserve_next() {
    values_.reserve_next();
    names_.reserve_next();
}

void Tm_struct::add_interned(std::string const& name, Tm_value* value) {
    std::unique_ptr<Tm_value> owned(value);
    reserve_next();
    names_.append(name);
    values_.push_and_own(owned.release());
}

TMV Tm_struct::get_member_value_type(int i) const {
    return tm_present(get_value(i)).get_value_type();
}

Tm_value const* Tm_struct::get_member_value(TMV type, int i) const {
    return tm_check_member_type(get_value(i), type);
}

int Tm_struct::get_number(char const* name) const {
    int const position = find(name);
    if (position < 0) throw Tm_name_not_found_exception(name);
    return position;
}

int Tm_struct::get_member_index(char const* name) const { return find(name); }

std::string_view Tm_struct::name_at(int i) const {
    return {get_member_name(i), get_member_name_length(i)};
}

int Tm_struct::find(std::string_view name) const {
    int const near_end = std::min(get_member_count(), hint_ + near_members);
    int position = -1;
    for (int i = hint_; i < near_end && position < 0; ++i) {
        if (name_at(i) == name) position = i;
    }
    if (position < 0) position = find_far(name, near_end);
    if (position >= 0) hint_ = position;
    return position;
}

/// The members from `from` on, then those before the hint.
int Tm_struct::find_far(std::string_view name, int from) const {
    int const count = get_member_count();
    if (lookup_ == nullptr) {
        if (count <= near_members || scanned_ <= scans_before_table * count) {
            return scan(name, from);
        }
        lookup_ = std::make_unique<Tm_name_lookup>();
    }
    lookup_->cover(count, [this](int i) { return name_at(i); });
    return lookup_->find(name, from);
}

int Tm_struct::scan(std::string_view name, int from) const {
    int const count = get_member_count();
    int const before_hint = std::min(hint_, count);
    scanned_ += count;
    for (int i = from; i < count; ++i) {
        if (name_at(i) == name) return i;
    }
    for (int i = 0; i < before_hint; ++i) {
        if (name_at(i) == name) return i;
    }
    return -1;
}

void Tm_struct::forget_lookup() noexcept {
    lookup_.reset();
    scanned_ = 0;
}

void Tm_struct::swap(Tm_struct& other) {
    bool const same_make = names_.owns_catalog() == other.names_.owns_catalog();
    if (same_make) names_.swap(other.names_);
    swap_members(other);
    if (!same_make) {
        throw Tm_exception("swap does not support swapping tm_struct with different type");
    }
}

void Tm_struct::swap_all(Tm_struct& other) noexcept {
    names_.swap_all(other.names_);
    swap_members(other);
}

/// All but the names.
void Tm_struct::swap_members(Tm_struct& other) noexcept {
    forget_lookup();
    other.forget_lookup();
    values_.swap(other.values_);
    std::swap(hint_, other.hint_);
    indexes_.swap(other.indexes_);
}

/// A struct whose names stand elsewhere answers them through get_member_name() alone.
bool Tm_struct::has_listed_names() const {
    return names_.size() == static_cast<std::size_t>(get_member_count());
}

void Tm_struct::list_names_of(Tm_struct const& other) {
    int const count = other.get_member_count();
    for (int i = 0; i < count; ++i) names_.append(names_.intern(other.name_at(i)));
}

void Tm_struct::set_member_indexes(std::vector<unsigned short>&& indexes) noexcept {
    indexes_ = std::move(indexes);
}
