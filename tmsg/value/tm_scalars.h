/// Values of plain types: integers, doubles and bools. A value does not change after it is made.
/// clone() returns a new value, which the caller owns. accept() sends one event.
#pragma once

#include "tmsg/fwd.h"
#include "tmsg/value/tm_plain.h"
#include "tmsg/value/tm_value.h"

/// The base class of integer values of eight types. Nothing converts between the types: an accessor
/// returns 0 unless the value has exactly its type.
///
/// You may derive a class of your own, for example to compute a number when it is read:
///
///     class Now : public Tm_int {
///     public:
///         Now* clone() const override { return new Now(*this); }
///         bool equals(Tm_value const&) const override { return false; }
///         TMV get_value_type() const override { return TMV_INT64; }
///         bool accept(Tm_visitor& to) const override { return to.visit_int64(value_int64()); }
///         long value_int64() const override { return std::time(nullptr); }
///     };
class TMSG_API Tm_int : public Tm_value {
public:
    virtual signed char value_int8() const;
    virtual unsigned char value_uint8() const;
    virtual short value_int16() const;
    virtual unsigned short value_uint16() const;
    virtual int value_int32() const;
    virtual unsigned int value_uint32() const;
    virtual long value_int64() const;
    virtual unsigned long value_uint64() const;

    /// Returns a new value of the class that belongs to the argument's type. The caller owns it.
    static Tm_value* create(signed char value);
    static Tm_value* create(unsigned char value);
    static Tm_value* create(short value);
    static Tm_value* create(unsigned short value);
    static Tm_value* create(int value);
    static Tm_value* create(unsigned int value);
    static Tm_value* create(long value);
    static Tm_value* create(unsigned long value);
};

/// The accessor of each integer type. Getters and equals() read integers through it, so that a
/// class of your own works as the library's classes do.
template <class Plain>
struct Tm_int_accessor;
// clang-format off
template <> struct Tm_int_accessor<signed char>    { static constexpr auto read = &Tm_int::value_int8; };
template <> struct Tm_int_accessor<unsigned char>  { static constexpr auto read = &Tm_int::value_uint8; };
template <> struct Tm_int_accessor<short>          { static constexpr auto read = &Tm_int::value_int16; };
template <> struct Tm_int_accessor<unsigned short> { static constexpr auto read = &Tm_int::value_uint16; };
template <> struct Tm_int_accessor<int>            { static constexpr auto read = &Tm_int::value_int32; };
template <> struct Tm_int_accessor<unsigned int>   { static constexpr auto read = &Tm_int::value_uint32; };
template <> struct Tm_int_accessor<long>           { static constexpr auto read = &Tm_int::value_int64; };
template <> struct Tm_int_accessor<unsigned long>  { static constexpr auto read = &Tm_int::value_uint64; };
// clang-format on

/// The integer value that stores a `Plain`, one of the eight types. fwd.h gives the classes the
/// names Tm_int8 to Tm_uint64.
template <class Plain>
class TMSG_API Tm_int_of : public Tm_int {
public:
    explicit Tm_int_of(Plain value) : value_(value) {}

    Tm_int_of* clone() const override;
    ~Tm_int_of() override;
    bool equals(Tm_value const& other) const override;
    TMV get_value_type() const override;
    bool accept(Tm_visitor& visitor) const override;

    // Only the accessor of the type `Plain` returns the number. The others return 0.
    signed char value_int8() const override;
    unsigned char value_uint8() const override;
    short value_int16() const override;
    unsigned short value_uint16() const override;
    int value_int32() const override;
    unsigned int value_uint32() const override;
    long value_int64() const override;
    unsigned long value_uint64() const override;

    /// Returns the stored number.
    Plain value() const { return value_; }

private:
    Plain value_;
};

extern template class TMSG_API Tm_int_of<signed char>;
extern template class TMSG_API Tm_int_of<unsigned char>;
extern template class TMSG_API Tm_int_of<short>;
extern template class TMSG_API Tm_int_of<unsigned short>;
extern template class TMSG_API Tm_int_of<int>;
extern template class TMSG_API Tm_int_of<unsigned int>;
extern template class TMSG_API Tm_int_of<long>;
extern template class TMSG_API Tm_int_of<unsigned long>;

/// A double value, IEEE 754 binary64. equals() compares as == does: NaN equals nothing, not even
/// itself, and +0.0 equals -0.0.
class TMSG_API Tm_double : public Tm_value {
public:
    explicit Tm_double(double value) : value_(value) {}

    Tm_double* clone() const override;
    ~Tm_double() override;
    bool equals(Tm_value const& other) const override;
    TMV get_value_type() const override;
    bool accept(Tm_visitor& visitor) const override;

    /// Returns the stored number with every bit, also for NaN.
    double value() const { return value_; }

private:
    double value_;
};

/// A boolean value.
class TMSG_API Tm_bool : public Tm_value {
public:
    explicit Tm_bool(bool value) : value_(value) {}

    Tm_bool* clone() const override;
    ~Tm_bool() override;
    bool equals(Tm_value const& other) const override;
    TMV get_value_type() const override;
    bool accept(Tm_visitor& visitor) const override;

    bool value() const { return value_; }

private:
    bool value_;
};
