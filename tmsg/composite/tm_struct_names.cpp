/// The names of a struct's members: how they are added, kept in layouts and looked up.
#include <algorithm>
#include <utility>

#include "tmsg/composite/tm_struct.h"
#include "tmsg/value/internal/tm_layout.h"
#include "tmsg/value/tm_exception.h"

namespace {

/// A look-up by name first compares this many members, from the hint on, before it calls
/// find_far().
constexpr unsigned int near_members = 3;
/// Up to this many members are compared one after another.
constexpr unsigned int few_members = 16;

/// The place, for tm_recall_layout(), of all structs that a program builds.
constexpr std::uint64_t built_by_program = 0;

Tm_name_not_found_exception not_found(std::string_view name) {
    Tm_name_not_found_exception failure{std::string(name)};
    failure.add_name_before(name);
    return failure;
}

}  // namespace

char const* Tm_struct::get_member_name(int i) const {
    auto const count = static_cast<int>(name_count_);
    if (i < 0 || i >= count) throw Tm_out_of_range_exception(i, 0, count - 1);
    return (*layout_)[static_cast<std::size_t>(i)];
}

unsigned int Tm_struct::get_member_name_length(int i) const {
    return tm_text_length(Tm_struct::get_member_name(i));
}

/// A derived class may override the name but not its length. Then the name ends at its zero byte.
std::string_view Tm_struct::name_at(int i) const {
    if (is_plain()) return tm_text_view(Tm_struct::get_member_name(i));
    unsigned int const length = get_member_name_length(i);
    char const* const name = get_member_name(i);
    auto const at = static_cast<unsigned int>(i);
    char const* const stored = at < name_count_ ? (*layout_)[at] : name;
    bool const has_its_length = name == stored || length != tm_text_length(stored);
    return has_its_length ? std::string_view(name, length) : std::string_view(name);
}

bool Tm_struct::is_plain_without_rtti() const { return is_plain(); }

/// Returns the number of members that have both a name and a value.
unsigned int Tm_struct::named_members() const {
    return std::min<std::uint32_t>(name_count_, values_.size_);
}

int Tm_struct::add_name(std::string const& name, Index* index) {
    record_name(name, index);
    return static_cast<int>(name_count_) - 1;
}

/// Adds the name to the catalogues and to the layout. When this throws, only catalogues may have
/// changed.
void Tm_struct::record_name(std::string_view name, Index* index) {
    bool const is_known =
        index == nullptr && extras_ == nullptr && layout_ && layout_->has(name_count_, name);
    if (is_known) {
        ++name_count_;
        return;
    }
    unsigned short wire_index = 0;
    if (index != nullptr) {
        auto& indexes = extras().indexes;
        if (indexes.size() == indexes.capacity()) indexes.reserve(2 * indexes.size() + 8);
        wire_index = static_cast<unsigned short>(index->add(name)->second);
    }
    if (extras_ != nullptr && extras_->catalog != nullptr) extras_->catalog->add(name);
    name_next({name, built_by_program});
    if (index != nullptr) extras_->indexes.push_back(wire_index);
    ++name_count_;
}

/// Makes this name the next one of the layout, or changes to another layout that has the names so
/// far and this one. The old layout lives until the end, because the name may be a text in it.
void Tm_struct::name_next(Tm_next_name name) {
    unsigned int const count = name_count_;
    bool const stands_elsewhere = count > 0 && layout_->table() != name.table_layout();
    if (stands_elsewhere) name.table = nullptr;
    if (layout_ && layout_->has(count, name)) return;
    if (layout_ && layout_->can_append(count, name)) return layout_->append(name);
    auto next = name.recall(layout_.get(), count);
    if (!next) {
        next = count == 0 ? Tm_layout::make() : layout_->fork(count, name);
        next->append(name);
    }
    layout_ = std::move(next);
    if (count > 0) return;
    auto const usual = layout_->usual_extent();
    values_.reserve(static_cast<int>(usual.members));
    values_.texts_.reserve(usual.text);
}

void Tm_struct::note_extent() const noexcept {
    layout_->note_extent({values_.size_, static_cast<std::uint32_t>(values_.texts_.size())});
}

/// A layout that this struct has built may serve others from now on.
void Tm_struct::keep_layout() const noexcept {
    if (!layout_ || layout_->is_sealed()) return;
    note_extent();
    tm_keep_layout(built_by_program, layout_);
}

void Tm_struct::swap_names(Tm_struct& other) noexcept {
    std::swap(layout_, other.layout_);
    std::uint32_t const count = name_count_;
    name_count_ = other.name_count_;
    other.name_count_ = count & Tm_value_container::most_slots;
}

/// Takes the names of the struct whose values were copied.
void Tm_struct::copy_names(Tm_struct const& other) {
    bool const has_catalog = extras_ != nullptr && extras_->catalog != nullptr;
    if (other.is_plain() && !has_catalog && other.name_count_ >= values_.size_) {
        other.keep_layout();
        layout_ = other.layout_;
        name_count_ = values_.size_ & Tm_value_container::most_slots;
        return;
    }
    for (int i = 0; i < values_.size(); ++i) record_name(other.name_at(i), nullptr);
}

int Tm_struct::get_number(char const* name) const { return number_of(tm_view(name)); }

int Tm_struct::get_member_index(char const* name) const { return position_of(tm_view(name)); }

int Tm_struct::number_of(std::string_view name) const {
    int const position = position_of(name);
    if (position < 0) fail_name(name);
    return position;
}

void Tm_struct::fail_name(std::string_view name) { throw not_found(name); }

/// Short names near the hint are found without a call.
int Tm_struct::position_of(std::string_view name) const {
    bool const is_short = name.data() != nullptr && name.size() <= tm_short_text;
    if (!is_plain() || !is_short) return find_far(name);
    std::uint32_t const hint = hint_.load(std::memory_order_relaxed);
    unsigned int const end = std::min(named_members(), hint + near_members);
    for (unsigned int i = hint; i < end; ++i) {
        char const* const text = (*layout_)[i];
        bool const is_it =
            tm_text_length(text) == name.size() && tm_equal_short(text, name.data(), name.size());
        if (is_it) {
            hint_.store(i, std::memory_order_relaxed);
            return static_cast<int>(i);
        }
    }
    return find_far(name);
}

[[gnu::noinline]] int Tm_struct::find_far(std::string_view name) const {
    if (name.data() == nullptr) return -1;
    int const position = is_plain() ? find_plain(name) : find_by_asking(name);
    if (position >= 0) hint_.store(static_cast<std::uint32_t>(position), std::memory_order_relaxed);
    return position;
}

int Tm_struct::find_plain(std::string_view name) const {
    unsigned int const count = named_members();
    unsigned int const hint = std::min(hint_.load(std::memory_order_relaxed), count);
    if (count > few_members) return layout_->find(name, hint, count);
    for (unsigned int step = 0; step < count; ++step) {
        unsigned int const i = hint + step < count ? hint + step : hint + step - count;
        if (tm_text_equals((*layout_)[i], name)) return static_cast<int>(i);
    }
    return -1;
}

int Tm_struct::first_position_of(std::string_view name) const {
    int const count = get_member_count();
    bool const is_hashed = is_plain() && named_members() > few_members;
    if (is_hashed) return layout_->find(name, 0, named_members());
    for (int i = 0; i < count; ++i) {
        if (name_at(i) == name) return i;
    }
    return -1;
}

int Tm_struct::find_by_asking(std::string_view name) const {
    int const count = get_member_count();
    int const hint = static_cast<int>(hint_.load(std::memory_order_relaxed));
    for (int step = 0; step < count; ++step) {
        int const i = (hint + step) % count;
        try {
            if (name_at(i) == name) return i;
        } catch (Tm_out_of_range_exception const&) {
            // the object's class gives this member no name
        }
    }
    return -1;
}
