#include "tmsg/composite/tm_struct.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <utility>

#include "tmsg/composite/tm_prenamed_struct.h"
#include "tmsg/value/internal/tm_layout.h"
#include "tmsg/value/internal/tm_walk.h"
#include "tmsg/value/tm_exception.h"

namespace {

constexpr int steps_per_member = 3;

}  // namespace

Tm_struct::Tm_struct(std::initializer_list<Tm_member> members) : Tm_struct(nullptr) {
    values_.reserve(static_cast<int>(members.size()));
    for (Tm_member const& member : members) {
        if (!member.value_.is_empty()) place(member.name_, std::move(member.value_), nullptr);
    }
}

Tm_struct::Tm_struct(Tm_catalog<std::string>* catalog)
    : name_count_(0), shares_names_(catalog == nullptr ? 0 : 1), is_made_(0) {
    if (catalog != nullptr) extras().catalog = catalog;
}

Tm_struct::Tm_struct(Tm_shared_names const&) : name_count_(0), shares_names_(1), is_made_(0) {}

Tm_struct::Tm_struct(Tm_struct const& other)
    : Tm_value(other),
      Tm_member_getters(other),
      Tm_member_adders(other),
      values_(other.values_),
      name_count_(0),
      shares_names_(0),
      is_made_(0) {
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

Tm_struct::Tm_struct(Tm_struct&& other) noexcept
    : Tm_value(other),
      Tm_member_getters(other),
      Tm_member_adders(other),
      name_count_(0),
      shares_names_(other.shares_names_),
      is_made_(0) {
    take_members(other);
}

/// The members of `other` move twice, because this struct may contain `other`.
Tm_struct& Tm_struct::operator=(Tm_struct&& other) noexcept {
    if (this == &other) return *this;
    Tm_struct taken{Tm_shared_names()};
    if (!taken.take_members(other)) return *this;
    drop_names();
    Tm_value_container old;
    old.take(values_);
    take_members(taken);
    fill_catalog();
    return *this;
}

/// This struct must have no members. Returns false when there is no memory for a copy.
bool Tm_struct::take_members(Tm_struct& other) noexcept {
    if (!other.is_plain()) return copy_members(other);
    values_.take(other.values_);
    layout_ = std::move(other.layout_);
    name_count_ = other.name_count_;
    other.name_count_ = 0;
    hint_.store(other.hint_.exchange(0, std::memory_order_relaxed), std::memory_order_relaxed);
    if (other.extras_ == nullptr) return true;
    bool const has_catalog = other.extras_->catalog != nullptr;
    if (extras_ != nullptr && !has_catalog) {
        extras_->indexes.swap(other.extras_->indexes);
    } else if (!has_catalog) {
        extras_ = std::move(other.extras_);
    }
    if (other.extras_ != nullptr) other.extras_->indexes.clear();
    return true;
}

bool Tm_struct::copy_members(Tm_struct const& other) noexcept {
    try {
        Tm_struct copy(other);
        return take_members(copy);
    } catch (std::exception const&) {
        return false;
    }
}

void Tm_struct::drop_names() noexcept {
    keep_layout();
    layout_ = {};
    name_count_ = 0;
    hint_.store(0, std::memory_order_relaxed);
    if (extras_ != nullptr) extras_->indexes.clear();
}

/// Adds the names to the catalogue, unless there is no memory.
void Tm_struct::fill_catalog() noexcept {
    if (extras_ == nullptr || extras_->catalog == nullptr) return;
    try {
        for (unsigned int i = 0; i < name_count_; ++i) {
            extras_->catalog->add(tm_text_view((*layout_)[i]));
        }
    } catch (std::exception const&) {
        return;
    }
}

/// A struct in one block of memory with its first slots and texts, behind the block's head. They
/// may outlive it, when another struct takes its values.
class Tm_struct::Made final : public Tm_struct {
public:
    /// The places of the parts in the block.
    struct Room {
        Room(std::size_t members, std::size_t text_bytes)
            : text_at(slots_at + (members == 0 ? 0 : aligned(Container::lent_size(members)))),
              size(text_at + (text_bytes == 0 ? 0 : Tm_texts::lent_size(text_bytes))) {}
        static std::size_t aligned(std::size_t bytes) {
            constexpr std::size_t alignment = alignof(Made);
            return (bytes + alignment - 1) / alignment * alignment;
        }
        std::size_t text_at;
        std::size_t size;
    };
    using Container = Tm_value_container;
    static constexpr std::size_t object_at = sizeof(Tm_shared_block);
    static constexpr std::size_t slots_at = object_at + sizeof(Tm_struct);

    static Tm_struct* make(std::size_t members, std::size_t text_bytes) {
        Room const room(members, text_bytes);
        auto* const memory = static_cast<char*>(::operator new(room.size));
        auto& block = *::new (memory) Tm_shared_block;
        auto* const made = new (memory + object_at) Made;
        auto& values = made->values_;
        if (members > 0) {
            values.lend(memory + slots_at, static_cast<unsigned int>(members), block);
        }
        if (text_bytes > 0) values.texts_.lend(memory + room.text_at, text_bytes, block);
        return made;
    }

    static void* operator new(std::size_t, void* place) { return place; }
    static void operator delete(void*, void*) {}
    static void operator delete(void* object) {
        char* const block = static_cast<char*>(object) - object_at;
        std::launder(reinterpret_cast<Tm_shared_block*>(block))->drop();
    }

private:
    Made() : Tm_struct(nullptr) { is_made_ = 1; }
};

std::size_t Tm_struct::made_size(std::size_t members, std::size_t text_bytes) {
    return Made::Room(members, text_bytes).size;
}

std::unique_ptr<Tm_struct> Tm_struct::make(Tm_counted_ptr<Tm_layout> layout, std::size_t members,
                                           std::size_t text_bytes) {
    std::unique_ptr<Tm_struct> made(Made::make(members, text_bytes));
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

/// Both structs must have the same number of members, at least one, and a name for each member.
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

bool tm_is_exactly(Tm_struct const& value) { return value.is_plain(); }

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
    drop_names();
    values_.delete_and_remove_all();
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

Tm_value const* Tm_struct::get_member_value(TMV type, int i) const { return typed_value(i, type); }

void Tm_struct::swap(Tm_struct& other) {
    swap_values(other);
    if (shares_names_ != other.shares_names_) {
        throw Tm_exception("swap does not support swapping tm_struct with different type");
    }
    swap_names(other);
}

/// Exchanges everything except the names. When it throws, it has exchanged nothing.
void Tm_struct::swap_values(Tm_struct& other) {
    swap_indexes(other);
    values_.swap(other.values_);
    hint_.store(other.hint_.exchange(hint_.load(std::memory_order_relaxed)),
                std::memory_order_relaxed);
}

/// Leaves the catalogues where they are.
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
