#include "tmsg/composite/tm_struct.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "tmsg/composite/tm_prenamed_struct.h"
#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_layout.h"
#include "tmsg/value/tm_walk.h"

namespace {

/// A lookup by name compares this many members from the hint on before it takes a longer way.
constexpr unsigned int near_members = 3;
/// Up to this many members are compared one after another.
constexpr unsigned int few_members = 16;

constexpr int steps_per_member = 3;

/// Where structs stand that a program builds, for tm_recall_layout().
constexpr std::uint64_t built_by_program = 0;

}  // namespace

Tm_struct::Tm_struct(Tm_catalog<std::string>* catalog)
    : name_count_(0), shares_names_(catalog == nullptr ? 0 : 1) {
    if (catalog != nullptr) extras().catalog = catalog;
}

Tm_struct::Tm_struct(Tm_shared_names const&) : name_count_(0), shares_names_(1) {}

Tm_struct::Tm_struct(Tm_struct const& other)
    : Tm_value(other),
      Tm_member_getters(other),
      Tm_member_adders(other),
      values_(other.values_),
      name_count_(0),
      shares_names_(0) {
    copy_names(other);
    copy_indexes(other);
}

Tm_struct::Tm_struct(Tm_prenamed_struct const& other)
    : Tm_struct(static_cast<Tm_struct const&>(other)) {}

Tm_struct& Tm_struct::operator=(Tm_struct const& other) {
    if (this == &other) return *this;
    Tm_struct copy(extras_ == nullptr ? nullptr : extras_->catalog);
    copy.values_ = other.values_;
    copy.copy_names(other);
    copy.copy_indexes(other);
    swap_values(copy);
    swap_names(copy);
    return *this;
}

/// The slots and texts stand behind the struct.
struct Tm_struct::Room {
    Room(std::size_t members, std::size_t text_bytes)
        : text_at(sizeof(Tm_struct) + aligned(Tm_value_container::bytes_of(members))),
          size(text_at + (text_bytes == 0 ? 0 : Tm_texts::lent_size(text_bytes))) {}
    static std::size_t aligned(std::size_t bytes) {
        constexpr std::size_t alignment = alignof(Tm_struct);
        return (bytes + alignment - 1) / alignment * alignment;
    }
    std::size_t text_at;
    std::size_t size;
};

std::size_t Tm_struct::made_size(std::size_t members, std::size_t text_bytes) {
    return Room(members, text_bytes).size;
}

std::unique_ptr<Tm_struct> Tm_struct::make(Tm_counted_ptr<Tm_layout> layout, std::size_t members,
                                           std::size_t text_bytes) {
    Room const room(members, text_bytes);
    auto* const memory = static_cast<char*>(::operator new(room.size));
    std::unique_ptr<Tm_struct> made(::new (memory) Tm_struct(nullptr));
    if (members > 0) {
        made->values_.lend(memory + sizeof(Tm_struct), static_cast<unsigned int>(members));
    }
    if (text_bytes > 0) made->values_.texts_.lend(memory + room.text_at, text_bytes);
    made->layout_ = std::move(layout);
    return made;
}

Tm_struct* Tm_struct::clone() const {
    if (!is_plain()) return new Tm_struct(*this);
    auto copy = make({}, values_.size_, values_.string_bytes());
    copy->values_.copy_values(values_);
    copy->copy_names(*this);
    copy->copy_indexes(*this);
    return copy.release();
}

Tm_struct::~Tm_struct() { keep_layout(); }

bool Tm_struct::equals(Tm_value const& other) const {
    if (other.get_value_type() != TMV_STRUCT) return false;
    auto const& right = static_cast<Tm_struct const&>(other);
    int const count = get_member_count();
    if (right.get_member_count() != count) return false;
    bool const are_plain = is_plain() && right.is_plain() && named_members() == values_.size_ &&
                           right.named_members() == values_.size_;
    if (are_plain) return count == 0 || equals_plain(right);
    for (int i = 0; i < count; ++i) {
        if (name_at(i) != right.name_at(i)) return false;
        if (!Tm_value_container::are_equal(get_value(i), right.get_value(i))) return false;
    }
    return true;
}

/// Both have the same number of members, more than none, and each member has a name.
bool Tm_struct::equals_plain(Tm_struct const& right) const {
    Tm_layout const& names = *layout_;
    Tm_layout const& right_names = *right.layout_;
    bool const same_names = &names == &right_names;
    for (std::size_t i = 0; i < values_.size_; ++i) {
        if (!same_names && tm_text_view(names[i]) != tm_text_view(right_names[i])) return false;
        if (!values_.equals_at(right.values_, i)) return false;
    }
    return true;
}

TMV Tm_struct::get_value_type() const { return TMV_STRUCT; }

bool Tm_struct::accept(Tm_visitor& visitor) const {
    Tm_walk walk(visitor);
    if (!walk.step(0, [&] { return visitor.visit_struct_begin(); })) return false;

    int const count = get_member_count();
    bool const by_index = visitor.is_support_member_index() && has_indexes() &&
                          extras_->indexes.size() >= static_cast<std::size_t>(count);
    Tm_wire_room* const room = is_plain() ? visitor.wire_room() : nullptr;
    for (int i = walk.first_item(count, steps_per_member); i < count; ++i) {
        int const step = 1 + i * steps_per_member;
        auto const at = static_cast<std::size_t>(i);
        auto const room_at = [&](int number) { return walk.repeats(number) ? nullptr : room; };
        bool const taken =
            walk.step(step, [&] { return accept_name(i, by_index, visitor, room_at(step)); }) &&
            walk.step(step + 1, [&] { return accept_value(at, visitor, room_at(step + 1)); }) &&
            walk.step(step + 2, [&] {
                return room != nullptr ? room->put_tag(TM_TAG_MEMBER_END)
                                       : visitor.visit_member_end();
            });
        if (!taken) return false;
    }
    return walk.step(1 + count * steps_per_member, [&] { return visitor.visit_struct_end(); });
}

bool Tm_struct::accept_name(int i, bool by_index, Tm_visitor& visitor, Tm_wire_room* room) const {
    if (by_index) {
        return visitor.visit_member_begin(extras_->indexes[static_cast<std::size_t>(i)]);
    }
    std::string_view const name = name_at(i);
    if (room != nullptr && tm_write_name(name, *room)) return true;
    return tm_walk_buffer<&Tm_visitor::visit_member_begin, &Tm_visitor::visit_member_continue>(
        name.data(), static_cast<unsigned int>(name.size()), visitor);
}

bool Tm_struct::accept_value(std::size_t i, Tm_visitor& visitor, Tm_wire_room* room) const {
    if (is_plain()) return values_.accept(i, visitor, room);
    return tm_present(get_value(static_cast<int>(i)))->accept(visitor);
}

void Tm_struct::clear() {
    keep_layout();
    layout_ = {};
    name_count_ = 0;
    values_.delete_and_remove_all();
    if (extras_ != nullptr) extras_->indexes.clear();
    hint_.store(0, std::memory_order_relaxed);
}

char const* Tm_struct::get_member_name(int i) const {
    auto const count = static_cast<int>(name_count_);
    if (i < 0 || i >= count) throw Tm_out_of_range_exception(i, 0, count - 1);
    return (*layout_)[static_cast<std::size_t>(i)];
}

unsigned int Tm_struct::get_member_name_length(int i) const {
    return tm_text_length(Tm_struct::get_member_name(i));
}

/// A class that names its members otherwise may have left their lengths as they are.
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

/// Members that have both a name and a value.
unsigned int Tm_struct::named_members() const {
    return std::min<std::uint32_t>(name_count_, values_.size_);
}

int Tm_struct::add_name(std::string const& name, Index* index) {
    record_name(name, index);
    return static_cast<int>(name_count_) - 1;
}

/// The name goes into all that list names; nothing but catalogues has changed when this throws.
void Tm_struct::record_name(std::string_view name, Index* index) {
    unsigned short wire_index = 0;
    if (index != nullptr) {
        auto& indexes = extras().indexes;
        if (indexes.size() == indexes.capacity()) indexes.reserve(2 * indexes.size() + 8);
        wire_index = static_cast<unsigned short>(index->add(name)->second);
    }
    if (extras_ != nullptr && extras_->catalog != nullptr) extras_->catalog->add(name);
    name_next(name, built_by_program);
    if (index != nullptr) extras_->indexes.push_back(wire_index);
    ++name_count_;
}

/// Makes this name the next one in the layout.
void Tm_struct::name_next(std::string_view name, std::uint64_t place) {
    if (layout_ && layout_->has(name_count_, name)) return;
    bool const can_grow = layout_ && !layout_->is_sealed() && layout_->size() == name_count_ &&
                          layout_->table() == nullptr;
    // The name may stand in the layout that is left.
    Tm_counted_ptr<Tm_layout> const before = can_grow ? Tm_counted_ptr<Tm_layout>() : layout_;
    if (!can_grow) {
        find_layout(name, place);
        if (layout_->has(name_count_, name)) return;
    }
    layout_->append(name);
}

/// Another layout with the names so far, in which the next name stands or can be appended.
void Tm_struct::find_layout(std::string_view name, std::uint64_t place) {
    unsigned int const count = name_count_;
    auto found = count == 0 ? tm_recall_layout(place, name)
                            : tm_recall_layout_like(place, *layout_, count, name);
    if (!found) found = count == 0 ? Tm_layout::make() : layout_->fork(count);
    layout_ = std::move(found);
    if (count == 0 && layout_->size() > 0) {
        auto const usual = layout_->usual_extent();
        values_.reserve(static_cast<int>(usual.members));
        values_.texts_.reserve(usual.text);
    }
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

void Tm_struct::add_value_and_own(int position, Tm_value* value) {
    std::unique_ptr<Tm_value> owned(tm_present(value));
    if (name_count_ <= values_.size_) {
        throw Tm_out_of_range_exception(position, 0, get_member_count() - 1);
    }
    values_.push_and_own(owned.release());
}

void Tm_struct::add_value_and_copy(int position, Tm_value const* value) {
    Tm_struct::add_value_and_own(position, tm_present(value)->clone());
}

Tm_value const* Tm_struct::get_value(int i) const { return values_.get_value(i); }

Tm_value* Tm_struct::get_value(int i) { return values_.get_value(i); }

void Tm_struct::place(std::string_view name, Tm_new_value&& value, Index* index) {
    if (!is_plain()) {
        auto made = value.release();
        int const position = add_name(std::string(name), index);
        return add_value_and_own(position, made.release());
    }
    values_.prepare(value);
    record_name(name, index);
    values_.push(std::move(value));
}

TMV Tm_struct::get_member_value_type(int i) const {
    if (is_plain()) return values_.type_at(values_.checked(i));
    return tm_present(get_value(i))->get_value_type();
}

Tm_value const* tm_check_member_type(Tm_value const* member, TMV type) {
    TMV const actual = tm_present(member)->get_value_type();
    if (actual != type) throw Tm_type_mismatch_exception(actual, type);
    return member;
}

Tm_value const* Tm_struct::get_member_value(TMV type, int i) const {
    return tm_check_member_type(get_value(i), type);
}

int Tm_struct::get_number(char const* name) const { return number_of(tm_view(name)); }

int Tm_struct::get_member_index(char const* name) const { return find(tm_view(name)); }

int Tm_struct::number_of(std::string_view name) const {
    int const position = find(name);
    if (position < 0) fail_name(name);
    return position;
}

void Tm_struct::fail_name(std::string_view name) {
    throw Tm_name_not_found_exception(std::string(name));
}

/// Short names near the hint are found without a call.
int Tm_struct::find(std::string_view name) const {
    if (!is_plain() || name.size() > tm_short_text) return find_far(name);
    std::uint32_t const hint = hint_.load(std::memory_order_relaxed);
    unsigned int const end = std::min(named_members(), hint + near_members);
    for (unsigned int i = hint; i < end; ++i) {
        char const* const text = (*layout_)[i];
        bool const is_it =
            tm_text_length(text) == name.size() && tm_equal_short(text, name.data(), name.size());
        if (is_it && name.data() != nullptr) {
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

void Tm_struct::swap(Tm_struct& other) {
    swap_values(other);
    if (shares_names_ != other.shares_names_) {
        throw Tm_exception("swap does not support swapping tm_struct with different type");
    }
    swap_names(other);
}

/// All but the names. Throws, before anything is exchanged, only where a catalogue is in use.
void Tm_struct::swap_values(Tm_struct& other) {
    swap_indexes(other);
    values_.swap(other.values_);
    hint_.store(other.hint_.exchange(hint_.load(std::memory_order_relaxed)),
                std::memory_order_relaxed);
}

/// Catalogues stay where they are.
void Tm_struct::swap_indexes(Tm_struct& other) {
    auto const has_catalog = [](Tm_struct const& one) {
        return one.extras_ != nullptr && one.extras_->catalog != nullptr;
    };
    if (has_catalog(*this) || has_catalog(other)) {
        if (has_indexes() || other.has_indexes()) {
            extras().indexes.swap(other.extras().indexes);
        }
    } else {
        Tm_owned<Extras> mine = std::move(extras_);
        extras_ = std::move(other.extras_);
        other.extras_ = std::move(mine);
    }
}

void Tm_struct::swap_names(Tm_struct& other) noexcept {
    std::swap(layout_, other.layout_);
    std::uint32_t const count = name_count_;
    name_count_ = other.name_count_;
    other.name_count_ = count & 0x7FFFFFFFU;
}

/// For the values that were copied from the same struct.
void Tm_struct::copy_names(Tm_struct const& other) {
    bool const has_catalog = extras_ != nullptr && extras_->catalog != nullptr;
    if (other.is_plain() && !has_catalog && other.name_count_ >= values_.size_) {
        other.keep_layout();
        layout_ = other.layout_;
        name_count_ = other.name_count_;
        return;
    }
    for (int i = 0; i < values_.size(); ++i) record_name(other.name_at(i), nullptr);
}

Tm_struct::Extras& Tm_struct::extras() {
    if (extras_ == nullptr) extras_ = std::make_unique<Extras>();
    return *extras_;
}

void Tm_struct::copy_indexes(Tm_struct const& other) {
    set_member_indexes(other.has_indexes() ? other.extras_->indexes
                                           : std::vector<unsigned short>());
}

bool Tm_struct::has_indexes() const { return extras_ != nullptr && !extras_->indexes.empty(); }

/// Replaces the wire indexes: one for each member, or none.
void Tm_struct::set_member_indexes(std::vector<unsigned short>&& indexes) {
    if (!indexes.empty() || has_indexes()) extras().indexes = std::move(indexes);
}
