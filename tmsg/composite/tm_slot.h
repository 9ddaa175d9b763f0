/// The slots of Tm_value_container, and a new value that is to be put into one.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "tmsg/export.h"
#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_plain.h"
#include "tmsg/value/tm_scalars.h"
#include "tmsg/value/tm_string.h"

/// The place of one value in a container. An integer, double, bool or string that the library makes
/// is in the slot itself. Any other value is on the heap, and the slot has a pointer to it. The
/// slot does not know its kind and does not own the value: its container does both.
struct alignas(8) Tm_slot {
    static constexpr std::size_t pointer_size = sizeof(void*);

    unsigned char bytes[16];

    /// Returns the object in the slot, which must be of the class `Value`.
    template <class Value>
    Value* in_place() {
        return std::launder(reinterpret_cast<Value*>(bytes));
    }
    /// Returns the pointer in the slot, which must have one.
    Tm_value* on_heap() const {
        Tm_value* value = nullptr;
        std::memcpy(&value, bytes, pointer_size);
        return value;
    }
};

// The kind of a slot is the type code of the object in it, or one of these numbers.
constexpr unsigned char tm_on_heap = 0x80;
constexpr unsigned char tm_plain_struct = 0x81;  ///< on the heap, of the library's own class
constexpr unsigned char tm_no_value = 0xFF;      ///< the slot is empty

/// Returns the pointer. Throws Tm_exception with the text when the pointer is null.
template <class T>
T* tm_present(T* pointer, char const* text = "member without a value") {
    if (pointer == nullptr) throw Tm_exception(text);
    return pointer;
}

/// A new value, made from the arguments of add_member(). It owns the value until release(), or
/// until a container has moved it into a slot. A null pointer throws Tm_exception.
class TMSG_API Tm_new_value {
public:
    /// Makes an integer, a double or a bool.
    template <class Plain, class Value = typename Tm_plain<Plain>::value>
    Tm_new_value(Plain plain) : kind_(Tm_plain<Plain>::code) {
        ::new (slot_.bytes) Value(plain);
    }
    /// Both make a string. It refers to the bytes, which must live until a container has copied
    /// them. Throws Tm_out_of_range_exception for more than 65,535 bytes.
    explicit Tm_new_value(std::string_view text);
    explicit Tm_new_value(char const* text) : Tm_new_value(std::string_view(tm_present(text))) {}
    /// Makes a byte string with a copy of the bytes. `data` may be null when `length` is 0.
    Tm_new_value(unsigned char const* data, unsigned int length);
    /// Makes a file. Throws what the constructor of Tm_file throws.
    Tm_new_value(std::string const& path, unsigned int open_mode);
    /// Makes a clone of the value.
    explicit Tm_new_value(Tm_value const* value)
        : Tm_new_value(Owned(tm_present(value)->clone())) {}
    /// Takes ownership of the value. Null is allowed, and makes an empty slot.
    explicit Tm_new_value(std::unique_ptr<Tm_value> value) noexcept;
    /// Takes ownership of the value, for a slot of that kind: tm_on_heap or tm_plain_struct.
    Tm_new_value(std::unique_ptr<Tm_value> value, unsigned char kind) noexcept : kind_(kind) {
        Tm_value* const pointer = value.release();
        std::memcpy(slot_.bytes, &pointer, Tm_slot::pointer_size);
    }
    /// Moves the value out of `other`.
    Tm_new_value(Tm_new_value&& other) noexcept
        : slot_(other.slot_), kind_(std::exchange(other.kind_, tm_no_value)) {}
    Tm_new_value& operator=(Tm_new_value&&) = delete;
    ~Tm_new_value() {
        if (is_on_heap()) delete slot_.on_heap();
    }

    bool is_empty() const { return kind_ == tm_no_value; }
    /// Returns the value as an object on the heap, which the caller owns.
    std::unique_ptr<Tm_value> release();

private:
    friend class Tm_value_container;

    using Owned = std::unique_ptr<Tm_value>;
    /// The kind of a string whose text no container owns yet. The slot has a std::string_view.
    static constexpr unsigned char UNKEPT = 0x7F;

    bool is_on_heap() const { return kind_ >= tm_on_heap && kind_ != tm_no_value; }
    std::string_view text() { return *slot_.in_place<std::string_view>(); }

    Tm_slot slot_;
    unsigned char kind_;
};
