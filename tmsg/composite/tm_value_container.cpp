#include "tmsg/composite/tm_value_container.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "tmsg/composite/tm_struct.h"
#include "tmsg/value/internal/tm_walk.h"
#include "tmsg/value/tm_exception.h"

namespace {

/// The wire's tags of integers have the order of their type codes.
template <class Plain>
constexpr unsigned char tm_tag_of(Tm_int_of<Plain> const&) {
    return static_cast<unsigned char>(int{TM_TAG_INT8} + int{Tm_plain<Plain>::code});
}
constexpr unsigned char tm_tag_of(Tm_double const&) { return TM_TAG_DOUBLE; }
constexpr unsigned char tm_tag_of(Tm_bool const&) { return TM_TAG_BOOL; }

/// Calls `visit` with the value in the slot, cast to its class.
template <class Visit>
bool visit_in_place(unsigned char kind, Tm_slot& slot, Visit visit) {
    // clang-format off
    switch (kind) {
        case TMV_INT8:   return visit(*slot.in_place<Tm_int8 const>());
        case TMV_UINT8:  return visit(*slot.in_place<Tm_uint8 const>());
        case TMV_INT16:  return visit(*slot.in_place<Tm_int16 const>());
        case TMV_UINT16: return visit(*slot.in_place<Tm_uint16 const>());
        case TMV_INT32:  return visit(*slot.in_place<Tm_int32 const>());
        case TMV_UINT32: return visit(*slot.in_place<Tm_uint32 const>());
        case TMV_INT64:  return visit(*slot.in_place<Tm_int64 const>());
        case TMV_UINT64: return visit(*slot.in_place<Tm_uint64 const>());
        case TMV_DOUBLE: return visit(*slot.in_place<Tm_double const>());
        case TMV_BOOL:   return visit(*slot.in_place<Tm_bool const>());
        default:         return visit(*slot.in_place<Tm_string const>());
    }
    // clang-format on
}

}  // namespace

Tm_value_container::Tm_value_container(Tm_value_container const& other) : Tm_value_container() {
    copy_values(other);
}

Tm_value_container& Tm_value_container::operator=(Tm_value_container const& other) {
    if (this == &other) return *this;
    delete_and_remove_all();
    copy_values(other);
    return *this;
}

Tm_value_container::~Tm_value_container() {
    destroy_all();
    free_slots();
}

void Tm_value_container::swap(Tm_value_container& other) noexcept {
    Tm_value_container mine;
    mine.take(*this);
    take(other);
    other.take(mine);
}

void Tm_value_container::take(Tm_value_container& other) noexcept {
    bool const becomes_user = other.is_lent_ != 0 && other.uses_lender_ == 0;
    if (becomes_user) other.lender().keep();
    slots_ = std::exchange(other.slots_, nullptr);
    size_ = std::exchange(other.size_, 0);
    capacity_ = other.capacity_;
    is_lent_ = other.is_lent_;
    uses_lender_ = other.is_lent_;
    other.capacity_ = 0;
    other.is_lent_ = 0;
    other.uses_lender_ = 0;
    texts_.take(other.texts_);
}

void Tm_value_container::reserve(int count) {
    if (count > static_cast<int>(capacity_)) change_capacity(static_cast<std::size_t>(count));
}

std::size_t Tm_value_container::grown_capacity() const {
    return std::max(first_capacity, 2 * std::size_t{capacity_});
}

void Tm_value_container::grow() { change_capacity(grown_capacity()); }

/// Moves values in their slots as bytes, because none of them holds a pointer to itself.
void Tm_value_container::change_capacity(std::size_t count) {
    if (count > most_slots) throw std::bad_alloc();
    if (count == 0) return free_slots();
    auto* const slots = static_cast<Tm_slot*>(::operator new(bytes_of(count)));
    if (size_ > 0) {
        std::memcpy(static_cast<void*>(slots), slots_, size_ * sizeof(Tm_slot));
        std::memcpy(static_cast<void*>(slots + count), kinds(), size_);
    }
    free_slots();
    slots_ = slots;
    capacity_ = static_cast<std::uint32_t>(count) & most_slots;
}

void Tm_value_container::free_slots() noexcept {
    if (is_lent_ == 0) {
        ::operator delete(slots_);
    } else if (uses_lender_ != 0) {
        lender().drop();
    }
    slots_ = nullptr;
    capacity_ = 0;
    is_lent_ = 0;
    uses_lender_ = 0;
}

void Tm_value_container::destroy(std::size_t i) noexcept {
    unsigned char const kind = kinds()[i];
    if (kind >= tm_on_heap && kind != tm_no_value) delete slots_[i].on_heap();
}

void Tm_value_container::destroy_all() noexcept {
    unsigned char const* const all = kinds();
    std::size_t const count = size_;
    for (std::size_t i = 0; i < count; ++i) {
        if (all[i] >= tm_on_heap) destroy(i);
    }
}

/// Destroys the value and empties the slot. Frees the text of a string where that is possible.
void Tm_value_container::discard(std::size_t i) noexcept {
    bool const has_text = kinds()[i] == TMV_STRING;
    char const* const text = has_text ? in_place<Tm_string>(i)->value().data() : nullptr;
    destroy(i);
    kinds()[i] = tm_no_value;
    if (has_text) remove_text(text, i);
}

/// Removes a text of slot i, which does not use it any more.
void Tm_value_container::remove_text(char const* text, std::size_t i) noexcept {
    texts_.remove(
        text, [&](char const* begin, char const* end) { return has_text_between(begin, end, i); });
}

/// Looks in slots near i first, because texts of neighbours are mostly in one block.
bool Tm_value_container::has_text_between(char const* begin, char const* end, std::size_t i) const {
    std::less<> const is_before;
    auto const is_there = [&](std::size_t k) {
        if (kinds()[k] != TMV_STRING) return false;
        char const* const text = in_place<Tm_string>(k)->value().data();
        return !is_before(text, begin) && is_before(text, end);
    };
    for (std::size_t step = 0; step < size_; ++step) {
        if (i + step < size_ && is_there(i + step)) return true;
        if (step <= i && is_there(i - step)) return true;
    }
    return false;
}

char const* Tm_value_container::make_text(std::string_view bytes) {
    Tm_string::check_length(bytes);
    return texts_.add(bytes);
}

void Tm_value_container::keep_text(Tm_new_value& value) {
    char const* const text = texts_.add(value.text());
    ::new (value.slot_.bytes) Tm_string(Tm_string::In_place(), text);
    value.kind_ = TMV_STRING;
}

/// Loads as many bytes at a time as were stored: a load that spans two recent stores is slow.
void Tm_value_container::put(std::size_t i, Tm_new_value&& value) noexcept {
    if (value.kind_ >= tm_on_heap) {
        std::memcpy(slots_[i].bytes, value.slot_.bytes, Tm_slot::pointer_size);
    } else if (value.kind_ == TMV_STRING) {
        char const* const text = value.slot_.in_place<Tm_string>()->value().data();
        ::new (slots_[i].bytes) Tm_string(Tm_string::In_place(), text);
    } else {
        slots_[i] = value.slot_;
    }
    kinds()[i] = std::exchange(value.kind_, tm_no_value);
}

Tm_value* Tm_value_container::push_and_copy(Tm_value const* value) {
    return push_and_own(tm_present(value)->clone());
}

Tm_value* Tm_value_container::push_and_own(Tm_value* value) {
    Tm_new_value owned{std::unique_ptr<Tm_value>(value)};
    reserve_next();
    push(std::move(owned));
    return value;
}

Tm_value* Tm_value_container::set_and_copy(int position, Tm_value const* value) {
    checked(position);
    return set_and_own(position, tm_present(value)->clone());
}

Tm_value* Tm_value_container::set_and_own(int position, Tm_value* value) {
    std::unique_ptr<Tm_value> owned(value);
    std::size_t const i = checked(position);
    if (at(i) == value) return owned.release();
    destroy(i);
    put(i, Tm_new_value(std::move(owned)));
    return value;
}

/// A string becomes an object on the heap, so that the next one can free its text.
void Tm_value_container::replace(int position, Tm_new_value value) {
    std::size_t const i = checked(position);
    bool const is_text = value.kind_ == Tm_new_value::UNKEPT;
    if (is_text) return replace(position, Tm_new_value(value.release()));
    bool const had_text = kinds()[i] == TMV_STRING;
    char const* const text = had_text ? in_place<Tm_string>(i)->value().data() : nullptr;
    std::unique_ptr<Tm_value> const old(kinds()[i] >= tm_on_heap ? at(i) : nullptr);
    put(i, std::move(value));
    if (had_text) remove_text(text, i);
}

void Tm_value_container::insert(int position, Tm_new_value value) {
    if (position < 0 || position > size()) throw Tm_out_of_range_exception(position, 0, size());
    prepare(value);
    auto const i = static_cast<std::size_t>(position);
    move_slots(i, i + 1, size_ - i);
    ++size_;
    put(i, std::move(value));
}

std::unique_ptr<Tm_value> Tm_value_container::take(int position) {
    std::size_t const i = checked(position);
    bool const is_on_heap = kinds()[i] >= tm_on_heap;
    std::unique_ptr<Tm_value> taken(is_on_heap ? at(i) : at(i)->clone());
    if (!is_on_heap) discard(i);
    close_slots(i, 1);
    return taken;
}

void Tm_value_container::remove(int first, int count) {
    if (first < 0 || first > size()) throw Tm_out_of_range_exception(first, 0, size() - 1);
    if (count < 0 || count > size() - first) {
        throw Tm_out_of_range_exception("count", count, 0, size() - first);
    }
    auto const i = static_cast<std::size_t>(first);
    auto const removed = static_cast<std::size_t>(count);
    for (std::size_t k = i + removed; k-- > i;) discard(k);
    close_slots(i, removed);
}

/// Removes slots whose values are gone.
void Tm_value_container::close_slots(std::size_t i, std::size_t count) noexcept {
    move_slots(i + count, i, size_ - i - count);
    size_ -= static_cast<std::uint32_t>(count);
}

void Tm_value_container::move_slots(std::size_t from, std::size_t to, std::size_t count) noexcept {
    if (count == 0) return;
    std::memmove(static_cast<void*>(slots_ + to), slots_ + from, count * sizeof(Tm_slot));
    std::memmove(kinds() + to, kinds() + from, count);
}

void Tm_value_container::delete_all() {
    destroy_all();
    if (size_ > 0) std::memset(kinds(), tm_no_value, size_);
    texts_.clear();
}

void Tm_value_container::delete_and_remove_all() {
    delete_all();
    size_ = 0;
}

void Tm_value_container::size_and_clear(int count) {
    Tm_value_container empty;
    empty.reserve(count);
    empty.size_ = static_cast<std::uint32_t>(std::max(count, 0));
    if (empty.size_ > 0) std::memset(empty.kinds(), tm_no_value, empty.size_);
    delete_and_remove_all();
    swap(empty);
}

void Tm_value_container::fail_range(int position) const {
    throw Tm_out_of_range_exception(position, 0, size() - 1);
}

TMV Tm_value_container::type_at(std::size_t i) const {
    unsigned char const kind = kinds()[i];
    if (kind == tm_no_value) throw Tm_exception("member without a value");
    return kind < tm_on_heap ? static_cast<TMV>(kind) : slots_[i].on_heap()->get_value_type();
}

Tm_struct const* Tm_value_container::last_struct() const {
    bool const is_struct = size_ > 0 && kinds()[size_ - 1] == tm_plain_struct;
    return is_struct ? static_cast<Tm_struct const*>(at(size_ - 1)) : nullptr;
}

std::size_t Tm_value_container::string_bytes() const {
    std::size_t sum = 0;
    for (std::size_t i = 0; i < size_; ++i) {
        if (kinds()[i] == TMV_STRING) sum += tm_text_size(in_place<Tm_string>(i)->value().size());
    }
    return sum;
}

void Tm_value_container::copy_values(Tm_value_container const& other) {
    reserve(other.size());
    texts_.reserve(other.string_bytes());
    for (std::size_t i = 0; i < other.size_; ++i) {
        unsigned char const kind = other.kinds()[i];
        if (kind == TMV_STRING) {
            push_string(texts_.add(other.in_place<Tm_string>(i)->value()));
        } else if (kind < tm_on_heap) {
            slots_[i] = other.slots_[i];
            kinds()[size_++] = kind;
        } else {
            push_and_own(kind == tm_no_value ? nullptr : other.slots_[i].on_heap()->clone());
        }
    }
}

bool Tm_value_container::equals(Tm_value_container const& other) const {
    if (size_ != other.size_) return false;
    for (std::size_t i = 0; i < size_; ++i) {
        if (!equals_at(other, i)) return false;
    }
    return true;
}

bool Tm_value_container::accept(std::size_t i, Tm_visitor& visitor, Tm_wire_room* room) const {
    if (kinds()[i] >= tm_on_heap) {
        if (kinds()[i] == tm_no_value) throw Tm_exception("member without a value");
        return slots_[i].on_heap()->accept(visitor);
    }
    return visit_in_place(kinds()[i], slots_[i], [&](auto const& value) {
        using Value = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<Value, Tm_string>) {
            return (room != nullptr && tm_write_bytes(TM_TAG_STRING, value.value(), *room)) ||
                   value.accept(visitor);
        } else {
            if (room != nullptr) return room->put(tm_tag_of(value), value.value());
            return value.accept(visitor);
        }
    });
}

/// Returns whether both slots are empty, or both have equal values.
bool Tm_value_container::equals_at(Tm_value_container const& other, std::size_t i) const {
    unsigned char const kind = kinds()[i];
    if (kind < tm_on_heap && kind == other.kinds()[i]) {
        return visit_in_place(kinds()[i], slots_[i], [&](auto const& left) {
            using Value = std::decay_t<decltype(left)>;
            return left.value() == other.in_place<Value>(i)->value();
        });
    }
    return are_equal(at(i), other.at(i));
}

bool Tm_value_container::are_equal(Tm_value const* left, Tm_value const* right) {
    return left == nullptr || right == nullptr ? left == right : *left == *right;
}
