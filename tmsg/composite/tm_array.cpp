#include "tmsg/composite/tm_array.h"

#include <memory>
#include <typeinfo>
#include <utility>

#include "tmsg/composite/tm_struct.h"
#include "tmsg/value/internal/tm_walk.h"
#include "tmsg/value/tm_binary.h"
#include "tmsg/value/tm_date.h"
#include "tmsg/value/tm_file.h"

Tm_array::Tm_array() = default;

Tm_array::Tm_array(Tm_value_container* values) {
    std::unique_ptr<Tm_value_container> const adopted(values);
    if (adopted != nullptr) values_.swap(*adopted);
}

Tm_array::Tm_array(Tm_array const& other) = default;

Tm_array& Tm_array::operator=(Tm_array const& other) {
    Tm_array copy(other);
    values_.swap(copy.values_);
    return *this;
}

Tm_array::Tm_array(Tm_array&& other) noexcept : Tm_value(other) { values_.take(other.values_); }

/// The old elements may contain `other`. They live until the end.
Tm_array& Tm_array::operator=(Tm_array&& other) noexcept {
    Tm_array taken(std::move(other));
    values_.swap(taken.values_);
    return *this;
}

Tm_array* Tm_array::clone() const { return new Tm_array(*this); }

Tm_array::~Tm_array() = default;

bool Tm_array::equals(Tm_value const& other) const {
    if (other.get_value_type() != TMV_ARRAY) return false;
    return values_.equals(static_cast<Tm_array const&>(other).values_);
}

TMV Tm_array::get_value_type() const { return TMV_ARRAY; }

bool Tm_array::accept(Tm_visitor& visitor) const {
    Tm_walk walk(visitor);
    if (!walk.step(0, [&] { return visitor.visit_array_begin(); })) return false;
    int const count = get_member_count();
    Tm_wire_room* const room = visitor.wire_room();
    for (int i = walk.first_item(count); i < count; ++i) {
        auto const accept = [&] {
            return values_.accept(static_cast<std::size_t>(i), visitor,
                                  walk.repeats(i + 1) ? nullptr : room);
        };
        if (!walk.step(i + 1, accept)) return false;
    }
    return walk.step(count + 1, [&] { return visitor.visit_array_end(); });
}

void Tm_array::clear() { values_.delete_and_remove_all(); }
void Tm_array::reserve(int count) { values_.reserve(count); }

bool Tm_array::is_plain() const { return &typeid(*this) == &typeid(Tm_array); }

template <class Plain>
void Tm_array::append_plain(Plain value) {
    if (!is_plain()) return append(Tm_new_value(value));
    values_.reserve_next();
    values_.push(value);
}

void Tm_array::append(Tm_new_value value) {
    if (!is_plain()) return add_member_and_own(value.release().release());
    values_.prepare(value);
    values_.push(std::move(value));
}

void Tm_array::add_member(signed char value) { append_plain(value); }
void Tm_array::add_member(unsigned char value) { append_plain(value); }
void Tm_array::add_member(short value) { append_plain(value); }
void Tm_array::add_member(unsigned short value) { append_plain(value); }
void Tm_array::add_member(int value) { append_plain(value); }
void Tm_array::add_member(unsigned int value) { append_plain(value); }
void Tm_array::add_member(long value) { append_plain(value); }
void Tm_array::add_member(unsigned long value) { append_plain(value); }
void Tm_array::add_member(double value) { append_plain(value); }
void Tm_array::add_member(bool value) { append_plain(value); }
void Tm_array::add_member(char const* text) { append(Tm_new_value(text)); }
void Tm_array::add_member(std::string const& text) { append(Tm_new_value(text)); }
void Tm_array::add_member(std::string_view text) { append(Tm_new_value(text)); }
void Tm_array::add_member(Tm_binary const* bytes) { append(Tm_new_value(bytes)); }
void Tm_array::add_member(Tm_value const* value) { append(Tm_new_value(value)); }

void Tm_array::add_member(unsigned char const* data, unsigned int length) {
    append(Tm_new_value(data, length));
}

void Tm_array::add_member(std::string const& path, unsigned int open_mode) {
    append(Tm_new_value(path, open_mode));
}

void Tm_array::add_member_and_own(Tm_value* value) { values_.push_and_own(tm_present(value)); }

TMV Tm_array::get_member_value_type(int i) const { return values_.type_at(values_.checked(i)); }

Tm_array const* Tm_array::get_member_array(int i) const { return read<Tm_array const*>(i); }
Tm_struct const* Tm_array::get_member_struct(int i) const { return read<Tm_struct const*>(i); }
Tm_date const* Tm_array::get_member_date(int i) const { return read<Tm_date const*>(i); }
Tm_binary const* Tm_array::get_member_binary(int i) const { return read<Tm_binary const*>(i); }
Tm_file const* Tm_array::get_member_file(int i) const { return read<Tm_file const*>(i); }
Message const* Tm_array::get_member_message(int i) const { return read<Message const*>(i); }

Tm_value const* Tm_array::typed_value(int i, TMV type) const {
    try {
        return tm_check_member_type(values_.get_value(i), type);
    } catch (Tm_exception& failure) {
        add_path(failure, i);
        throw;
    }
}

void Tm_array::add_path(Tm_exception& failure, int i) const noexcept {
    if (i >= 0 && i < values_.size()) failure.add_position_before(i);
}

Tm_value const* Tm_array::get_member_value(TMV type, int i) const { return typed_value(i, type); }
