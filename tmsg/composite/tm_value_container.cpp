#include "tmsg/composite/tm_value_container.h"

#include "tmsg/composite/tm_grow.h"
#include "tmsg/value/tm_exception.h"

Tm_value_container::Tm_value_container() = default;

Tm_value_container::Tm_value_container(Tm_value_container const& other) { *this = other; }

Tm_value_container& Tm_value_container::operator=(Tm_value_container const& other) {
    if (this == &other) return *this;
    delete_and_remove_all();
    slots_.reserve(other.slots_.size());
    for (auto const& value : other.slots_) {
        slots_.emplace_back(value == nullptr ? nullptr : value->clone());
    }
    return *this;
}

Tm_value_container::~Tm_value_container() = default;

void Tm_value_container::swap(Tm_value_container& other) noexcept { slots_.swap(other.slots_); }

void Tm_value_container::reserve(int count) {
    if (count > 0) slots_.reserve(static_cast<std::size_t>(count));
}

void Tm_value_container::reserve_next() { tm_reserve_next(slots_); }

Tm_value* Tm_value_container::push_and_copy(Tm_value const* value) {
    return push_and_own(value->clone());
}

Tm_value* Tm_value_container::push_and_own(Tm_value* value) {
    std::unique_ptr<Tm_value> owned(value);
    reserve_next();
    return slots_.emplace_back(std::move(owned)).get();
}

Tm_value* Tm_value_container::set_and_copy(int position, Tm_value const* value) {
    auto& target = slots_[checked(position)];
    target.reset(value->clone());
    return target.get();
}

Tm_value* Tm_value_container::set_and_own(int position, Tm_value* value) {
    std::unique_ptr<Tm_value> owned(value);
    auto& target = slots_[checked(position)];
    target = std::move(owned);
    return target.get();
}

Tm_value* Tm_value_container::get_value(int position) { return slots_[checked(position)].get(); }

Tm_value const* Tm_value_container::get_value(int position) const {
    return slots_[checked(position)].get();
}

void Tm_value_container::delete_all() {
    for (auto& value : slots_) value.reset();
}

void Tm_value_container::delete_and_remove_all() { slots_.clear(); }

void Tm_value_container::size_and_clear(int count) {
    delete_all();
    slots_.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
}

std::size_t Tm_value_container::checked(int position) const {
    if (position < 0 || position >= size()) {
        throw Tm_out_of_range_exception(position, 0, size() - 1);
    }
    return static_cast<std::size_t>(position);
}
