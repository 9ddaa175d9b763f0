#include "tmsg/composite/tm_prenamed_struct.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "tmsg/value/tm_exception.h"

Tm_prenamed_struct::Tm_prenamed_struct() : Tm_struct(Tm_shared_names()) {}

Tm_prenamed_struct::Tm_prenamed_struct(char const* const* names, int count)
    : Tm_struct(Tm_shared_names()), names_(names), name_count_(std::max(count, 0)) {
    values_.size_and_clear(name_count_);
}

Tm_prenamed_struct::Tm_prenamed_struct(Tm_prenamed_struct const& other)
    : Tm_struct(Tm_shared_names()),
      Tm_member_adders<Tm_prenamed_struct, int>(other),
      names_(other.names_),
      name_count_(other.name_count_) {
    values_ = other.values_;
    copy_indexes(other);
}

Tm_prenamed_struct& Tm_prenamed_struct::operator=(Tm_prenamed_struct const& other) {
    if (this == &other) return *this;
    Tm_prenamed_struct copy(other);
    swap_values(copy);
    names_ = copy.names_;
    name_count_ = copy.name_count_;
    hint_ = 0;
    return *this;
}

Tm_prenamed_struct::Tm_prenamed_struct(Tm_prenamed_struct&& other) noexcept
    : Tm_struct(Tm_shared_names()), Tm_member_adders<Tm_prenamed_struct, int>(other) {
    take_slots(other);
}

/// The old values may contain `other`. They live until the end.
Tm_prenamed_struct& Tm_prenamed_struct::operator=(Tm_prenamed_struct&& other) noexcept {
    if (this == &other) return *this;
    Tm_prenamed_struct taken(std::move(other));
    Tm_value_container old;
    old.take(values_);
    extras_ = {};
    take_slots(taken);
    hint_ = 0;
    return *this;
}

/// This struct must have no values and no wire indexes.
void Tm_prenamed_struct::take_slots(Tm_prenamed_struct& other) noexcept {
    values_.take(other.values_);
    extras_ = std::move(other.extras_);
    names_ = other.names_;
    name_count_ = other.name_count_;
    try {
        other.values_.size_and_clear(values_.size());
    } catch (std::bad_alloc const&) {
        return;
    }
}

Tm_prenamed_struct* Tm_prenamed_struct::clone() const { return new Tm_prenamed_struct(*this); }

Tm_prenamed_struct::~Tm_prenamed_struct() = default;

void Tm_prenamed_struct::clear() { values_.size_and_clear(values_.size()); }

void Tm_prenamed_struct::clear(char const* const* names) {
    int count = 0;
    while (names != nullptr && names[count] != nullptr) ++count;
    values_.size_and_clear(count);
    names_ = names;
    name_count_ = count;
}

char const* Tm_prenamed_struct::get_member_name(int i) const {
    check_place(i);
    return names_[i];
}

unsigned int Tm_prenamed_struct::get_member_name_length(int i) const {
    return static_cast<unsigned int>(std::strlen(get_member_name(i)));
}

Tm_value const* Tm_prenamed_struct::get_value(int i) const {
    Tm_value const* const value = values_.get_value(i);
    if (value == nullptr) throw Tm_name_not_found_exception(get_member_name(i));
    return value;
}

int Tm_prenamed_struct::add_name(std::string const& name) const { return get_number(name.c_str()); }

int Tm_prenamed_struct::add_name(std::string const& name, Index* index) {
    int const position = add_name(name);
    add_name_index(position, index);
    return position;
}

void Tm_prenamed_struct::add_name_index(int i, Index* index) {
    if (index == nullptr) return;
    auto const wire_index = static_cast<unsigned short>(index->add(get_member_name(i))->second);
    extras().indexes.push_back(wire_index);
}

void Tm_prenamed_struct::add_value_and_own(int i, Tm_value* value) {
    values_.set_and_own(i, value);
}

void Tm_prenamed_struct::add_value_and_copy(int i, Tm_value const* value) {
    values_.set_and_copy(i, value);
}

void Tm_prenamed_struct::place(int i, Tm_new_value&& value, Index* index) {
    auto made = value.release();
    check_place(i);
    bool const stands_there = values_.get_value(i) == made.get();
    if (stands_there) static_cast<void>(made.release());
    add_name_index(i, index);
    if (!stands_there) add_value_and_own(i, made.release());
}

/// There are as many slots as names, unless this was swapped or assigned through its base.
void Tm_prenamed_struct::check_place(int i) const {
    int const count = std::min(values_.size(), name_count_);
    if (i < 0 || i >= count) throw Tm_out_of_range_exception(i, 0, count - 1);
}
