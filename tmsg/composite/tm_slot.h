/// The slots of a container, and a value on its way into one.
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

/// Holds an integer, a double, a bool or a string itself, or the pointer to a value on the heap.
struct alignas(8) Tm_slot {
    static constexpr std::size_t pointer_size = sizeof(void*);

    unsigned char bytes[16];

    template <class Value>
    Value* in_place() {
        return std::launder(reinterpret_cast<Value*>(bytes));
    }
    Tm_value* on_heap() const {
        Tm_value* value = nullptr;
        std::memcpy(&value, bytes, pointer_size);
        return value;
    }
};

// The kind of a slot: the type code of the value that stands in it, or one of these.
constexpr unsigned char tm_on_heap = 0x80;
constexpr unsigned char tm_plain_struct = 0x81;  ///< on the heap, of the library's own class
constexpr unsigned char tm_no_value = 0xFF;

/// Returns the pointer. Throws Tm_exception with the text when the pointer is null.
template <class T>
T* tm_present(T* pointer, char const* text = "member without a value") {
    if (pointer == nullptr) throw Tm_exception(text);
    return pointer;
}

/// A new value, made from the arguments of add_member(). A null pointer throws Tm_exception.
class TMSG_API Tm_new_value {
public:
    template <class Plain, class Value = typename Tm_plain<Plain>::value>
    Tm_new_value(Plain plain) : kind_(Tm_plain<Plain>::code) {
        ::new (slot_.bytes) Value(plain);
    }
    /// Refers to the bytes. Throws Tm_out_of_range_exception for more than a string may have.
    explicit Tm_new_value(std::string_view text);
    explicit Tm_new_value(char const* text) : Tm_new_value(std::string_view(tm_present(text))) {}
    Tm_new_value(unsigned char const* data, unsigned int length);
    /// A file.
    Tm_new_value(std::string const& path, unsigned int open_mode);
    /// A copy.
    explicit Tm_new_value(Tm_value const* value)
        : Tm_new_value(Owned(tm_present(value)->clone())) {}
    explicit Tm_new_value(std::unique_ptr<Tm_value> value) noexcept;
    /// A value on the heap for a slot of that kind.
    Tm_new_value(std::unique_ptr<Tm_value> value, unsigned char kind) noexcept : kind_(kind) {
        Tm_value* const pointer = value.release();
        std::memcpy(slot_.bytes, &pointer, Tm_slot::pointer_size);
    }
    Tm_new_value(Tm_new_value&& other) noexcept
        : slot_(other.slot_), kind_(std::exchange(other.kind_, tm_no_value)) {}
    Tm_new_value& operator=(Tm_new_value&&) = delete;
    ~Tm_new_value() {
        if (is_on_heap()) delete slot_.on_heap();
    }

    /// Returns the value as an object on the heap. Leaves this empty.
    std::unique_ptr<Tm_value> release();

private:
    friend class Tm_value_container;

    using Owned = std::unique_ptr<Tm_value>;
    /// A string whose text no container owns yet.
    static constexpr unsigned char UNKEPT = 0x7F;

    bool is_on_heap() const { return kind_ >= tm_on_heap && kind_ != tm_no_value; }
    std::string_view text() { return *slot_.in_place<std::string_view>(); }

    Tm_slot slot_;
    unsigned char kind_;
};
