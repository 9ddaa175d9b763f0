/// Changes of members after they were added. A struct that changes forgets its wire indexes.
#include <utility>

#include "tmsg/composite/tm_prenamed_struct.h"
#include "tmsg/composite/tm_struct.h"
#include "tmsg/value/internal/tm_layout.h"
#include "tmsg/value/tm_exception.h"

Tm_value const* Tm_struct::find_value(int i) const {
    if (i < 0 || i >= get_member_count()) return nullptr;
    if (is_plain()) return values_.get_value(i);
    try {
        return get_value(i);
    } catch (Tm_exception const&) {
        return nullptr;  // an empty slot
    }
}

Tm_value const* Tm_struct::typed_value(int i, TMV type) const {
    try {
        return tm_check_member_type(get_value(i), type);
    } catch (Tm_exception& failure) {
        add_path(failure, i);
        throw;
    }
}

void Tm_struct::add_path(Tm_exception& failure, int i) const noexcept {
    if (i < 0 || i >= get_member_count()) return;
    try {
        failure.add_name_before(name_at(i));
    } catch (std::exception const&) {
        return;  // the object's class gives this member no name
    }
}

Tm_value const* Tm_struct::find_value(std::string_view name) const {
    return find_value(position_of(name));
}

void Tm_struct::forget_indexes() noexcept {
    if (extras_ != nullptr) extras_->indexes.clear();
}

int Tm_struct::set(std::string_view name, Tm_new_value value, Index* index) {
    int const position = first_position_of(name);
    if (position < 0) {
        if (dynamic_cast<Tm_prenamed_struct const*>(this) != nullptr) fail_name(name);
        place(name, std::move(value), index);
        return get_member_count() - 1;
    }
    values_.replace(position, std::move(value));
    forget_indexes();
    return position;
}

void Tm_struct::replace_value(int i, std::unique_ptr<Tm_value> value) {
    values_.replace(i, tm_make_value(std::move(value)));
    forget_indexes();
}

std::unique_ptr<Tm_value> Tm_struct::take_member(int i) {
    check_has_own_names("take");
    values_.checked(i);
    Tm_struct names = changed_names(i, nullptr);
    std::unique_ptr<Tm_value> value = values_.take(i);
    adopt_names(names);
    return value;
}

void Tm_struct::remove_member(int i) {
    check_has_own_names("remove");
    values_.checked(i);
    Tm_struct names = changed_names(i, nullptr);
    values_.remove(i, 1);
    adopt_names(names);
}

bool Tm_struct::remove_member(std::string_view name) {
    check_has_own_names("remove");
    int const position = first_position_of(name);
    if (position < 0) return false;
    remove_member(position);
    return true;
}

void Tm_struct::rename_member(int i, std::string_view name) {
    check_has_own_names("rename");
    values_.checked(i);
    Tm_struct names = changed_names(i, &name);
    bool const has_catalog = extras_ != nullptr && extras_->catalog != nullptr;
    if (has_catalog) extras_->catalog->add(name);
    adopt_names(names);
}

void Tm_struct::check_has_own_names(char const* operation) const {
    bool const has_fixed_names =
        !is_plain() && dynamic_cast<Tm_prenamed_struct const*>(this) != nullptr;
    if (has_fixed_names) {
        throw Tm_exception(std::string("cannot ") + operation +
                           " a member of a struct with fixed names");
    }
}

/// Returns a struct that has the names of this one, without values. Name i is replaced, or left out
/// when `new_name` is null.
Tm_struct Tm_struct::changed_names(int i, std::string_view const* new_name) const {
    Tm_struct names{Tm_shared_names()};
    auto const changed = static_cast<unsigned int>(i);
    for (unsigned int k = 0; k < name_count_; ++k) {
        if (k != changed) names.record_name(tm_text_view((*layout_)[k]), nullptr);
        if (k == changed && new_name != nullptr) names.record_name(*new_name, nullptr);
    }
    return names;
}

void Tm_struct::adopt_names(Tm_struct& names) noexcept {
    keep_layout();
    swap_names(names);
    hint_.store(0, std::memory_order_relaxed);
    forget_indexes();
}
