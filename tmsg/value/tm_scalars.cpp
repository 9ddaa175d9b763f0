#include "tmsg/value/tm_scalars.h"

#include <type_traits>

#include "tmsg/value/tm_visitor.h"

namespace {

/// Returns the stored value for its own type, and 0 for every other type.
template <class Wanted, class Plain>
Wanted value_if_same(Plain value) {
    if constexpr (std::is_same_v<Wanted, Plain>) {
        return value;
    } else {
        return 0;
    }
}

}  // namespace

signed char Tm_int::value_int8() const { return 0; }
unsigned char Tm_int::value_uint8() const { return 0; }
short Tm_int::value_int16() const { return 0; }
unsigned short Tm_int::value_uint16() const { return 0; }
int Tm_int::value_int32() const { return 0; }
unsigned int Tm_int::value_uint32() const { return 0; }
long Tm_int::value_int64() const { return 0; }
unsigned long Tm_int::value_uint64() const { return 0; }

Tm_value* Tm_int::create(signed char value) { return new Tm_int8(value); }
Tm_value* Tm_int::create(unsigned char value) { return new Tm_uint8(value); }
Tm_value* Tm_int::create(short value) { return new Tm_int16(value); }
Tm_value* Tm_int::create(unsigned short value) { return new Tm_uint16(value); }
Tm_value* Tm_int::create(int value) { return new Tm_int32(value); }
Tm_value* Tm_int::create(unsigned int value) { return new Tm_uint32(value); }
Tm_value* Tm_int::create(long value) { return new Tm_int64(value); }
Tm_value* Tm_int::create(unsigned long value) { return new Tm_uint64(value); }

template <class Plain>
Tm_int_of<Plain>::~Tm_int_of() = default;

template <class Plain>
Tm_int_of<Plain>* Tm_int_of<Plain>::clone() const {
    return new Tm_int_of(*this);
}

template <class Plain>
bool Tm_int_of<Plain>::equals(Tm_value const& other) const {
    return other.get_value_type() == Tm_plain<Plain>::code &&
           (static_cast<Tm_int const&>(other).*Tm_int_accessor<Plain>::read)() == value_;
}

template <class Plain>
TMV Tm_int_of<Plain>::get_value_type() const {
    return Tm_plain<Plain>::code;
}

template <class Plain>
bool Tm_int_of<Plain>::accept(Tm_visitor& visitor) const {
    return (visitor.*Tm_plain<Plain>::event)(value_);
}

template <class Plain>
signed char Tm_int_of<Plain>::value_int8() const {
    return value_if_same<signed char>(value_);
}

template <class Plain>
unsigned char Tm_int_of<Plain>::value_uint8() const {
    return value_if_same<unsigned char>(value_);
}

template <class Plain>
short Tm_int_of<Plain>::value_int16() const {
    return value_if_same<short>(value_);
}

template <class Plain>
unsigned short Tm_int_of<Plain>::value_uint16() const {
    return value_if_same<unsigned short>(value_);
}

template <class Plain>
int Tm_int_of<Plain>::value_int32() const {
    return value_if_same<int>(value_);
}

template <class Plain>
unsigned int Tm_int_of<Plain>::value_uint32() const {
    return value_if_same<unsigned int>(value_);
}

template <class Plain>
long Tm_int_of<Plain>::value_int64() const {
    return value_if_same<long>(value_);
}

template <class Plain>
unsigned long Tm_int_of<Plain>::value_uint64() const {
    return value_if_same<unsigned long>(value_);
}

template class Tm_int_of<signed char>;
template class Tm_int_of<unsigned char>;
template class Tm_int_of<short>;
template class Tm_int_of<unsigned short>;
template class Tm_int_of<int>;
template class Tm_int_of<unsigned int>;
template class Tm_int_of<long>;
template class Tm_int_of<unsigned long>;

Tm_double::~Tm_double() = default;

Tm_double* Tm_double::clone() const { return new Tm_double(*this); }

bool Tm_double::equals(Tm_value const& other) const {
    return other.get_value_type() == TMV_DOUBLE &&
           static_cast<Tm_double const&>(other).value_ == value_;
}

TMV Tm_double::get_value_type() const { return TMV_DOUBLE; }

bool Tm_double::accept(Tm_visitor& visitor) const { return visitor.visit_double(value_); }

Tm_bool::~Tm_bool() = default;

Tm_bool* Tm_bool::clone() const { return new Tm_bool(*this); }

bool Tm_bool::equals(Tm_value const& other) const {
    return other.get_value_type() == TMV_BOOL &&
           static_cast<Tm_bool const&>(other).value_ == value_;
}

TMV Tm_bool::get_value_type() const { return TMV_BOOL; }

bool Tm_bool::accept(Tm_visitor& visitor) const { return visitor.visit_bool(value_); }
