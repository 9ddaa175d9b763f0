/// The list of values that a struct or an array has. The container owns them. A slot may be empty,
/// which counts as null. A position outside 0 to size() - 1 throws Tm_out_of_range_exception and
/// changes nothing.
///
/// Integers, doubles, bools and strings that the library makes are in their slot. Pointers to them
/// are valid until the container changes, like iterators of a vector. All other values are on the
/// heap. Pointers to them are valid until the value is replaced or removed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <type_traits>

#include "tmsg/composite/tm_read_member.h"
#include "tmsg/composite/tm_slot.h"
#include "tmsg/value/tm_text.h"

class Tm_visitor;
class Tm_wire_room;

class TMSG_API Tm_value_container {
public:
    Tm_value_container() : capacity_(0), is_lent_(0), uses_lender_(0) {}
    /// Clones every value.
    Tm_value_container(Tm_value_container const& other);
    /// Destroys its own values first. When copying throws, it has the values copied so far.
    Tm_value_container& operator=(Tm_value_container const& other);
    ~Tm_value_container();

    void swap(Tm_value_container& other) noexcept;
    /// Returns the number of slots, also of empty ones.
    int size() const { return static_cast<int>(size_); }
    /// Makes room for `count` slots in all.
    void reserve(int count);

    /// `push_...` appends a slot, and `set_...` replaces and destroys the value in a slot.
    /// `..._own` takes ownership of the value, which may be null, and deletes it when the call
    /// throws. `..._copy` stores a clone, and throws Tm_exception for null. Each returns the stored
    /// value.
    Tm_value* push_and_copy(Tm_value const* value);
    Tm_value* push_and_own(Tm_value* value);
    Tm_value* set_and_copy(int position, Tm_value const* value);
    /// Does nothing when the value is in the slot already.
    Tm_value* set_and_own(int position, Tm_value* value);
    /// Replaces the value.
    void replace(int position, Tm_new_value value);
    /// Moves the values from `position` on up by one. The position size() is allowed, too.
    void insert(int position, Tm_new_value value);
    /// Removes the slot. Returns its value, which may be null.
    std::unique_ptr<Tm_value> take(int position);
    /// Destroys `count` values and removes their slots. The label of the range error of a wrong
    /// count is "count".
    void remove(int first, int count);

    /// Both return null for an empty slot.
    Tm_value* get_value(int position) { return at(checked(position)); }
    Tm_value const* get_value(int position) const { return at(checked(position)); }

    /// Destroys all values. The slots stay, and are empty.
    void delete_all();
    /// Destroys all values and removes the slots.
    void delete_and_remove_all();
    /// Destroys all values and leaves `count` empty slots. A negative count leaves none.
    void size_and_clear(int count);

private:
    friend class Tm_array;
    friend class Tm_creator;
    friend class Tm_own_creator;
    friend struct Tm_name_lengths;
    friend class Tm_prenamed_struct;
    friend class Tm_struct;

    static constexpr std::size_t first_capacity = 4;
    static constexpr std::uint32_t most_slots = 0x3FFFFFFFU;
    /// Returns the bytes of memory that `count` slots and their kinds take.
    static constexpr std::size_t bytes_of(std::size_t count) {
        return count * (sizeof(Tm_slot) + 1);
    }
    /// Makes room for one more slot, so that the next push_and_own() does not throw.
    void reserve_next() {
        if (size_ == capacity_) grow();
    }
    bool is_full() const { return size_ == capacity_; }
    /// Returns the bytes of memory that this container has allocated for slots.
    std::size_t slot_bytes() const { return is_lent_ != 0 ? 0 : bytes_of(capacity_); }
    /// Returns slot_bytes() as it will be after the next growth.
    std::size_t grown_slot_bytes() const { return bytes_of(grown_capacity()); }
    /// Returns the bytes that the container would allocate for the text of a string of this length.
    std::size_t text_growth(std::size_t length) const { return texts_.growth(length); }
    /// Returns the bytes of memory that lend() needs for `count` slots.
    static constexpr std::size_t lent_size(std::size_t count) {
        return Tm_slot::pointer_size + bytes_of(count);
    }
    /// Makes an empty container use lent_size(count) bytes of memory, a part of the lender, until
    /// it needs more. The lender must outlive this, but not the slots: take() makes their new owner
    /// a user of the lender.
    void lend(void* memory, unsigned int count, Tm_shared_block& lender) {
        slots_ = reinterpret_cast<Tm_slot*>(::new (memory) Tm_shared_block*(&lender) + 1);
        capacity_ = count & most_slots;
        is_lent_ = 1;
    }
    Tm_shared_block& lender() const { return *reinterpret_cast<Tm_shared_block**>(slots_)[-1]; }
    /// Takes all values of `other`, which has none afterwards. This must have no value and no room.
    /// Only pointers to scalar and string values become invalid.
    void take(Tm_value_container& other) noexcept;

    unsigned char* kinds() const { return reinterpret_cast<unsigned char*>(slots_ + capacity_); }
    Tm_value* at(std::size_t i) const {
        unsigned char const kind = kinds()[i];
        if (kind < tm_on_heap) return in_place<Tm_value>(i);
        return kind == tm_no_value ? nullptr : slots_[i].on_heap();
    }
    template <class Value>
    Value* in_place(std::size_t i) const {
        return slots_[i].in_place<Value>();
    }
    std::size_t checked(int position) const {
        auto const i = static_cast<std::size_t>(static_cast<unsigned int>(position));
        if (i >= size_) fail_range(position);
        return i;
    }
    [[noreturn]] void fail_range(int position) const;
    /// Returns the last value when it is of the class Tm_struct, not of a derived one, else null.
    Tm_struct const* last_struct() const;
    /// Returns the type code of a value. Throws Tm_exception for an empty slot.
    TMV type_at(std::size_t i) const;
    /// Returns whether a value of that type is in the slot itself.
    bool has(int position, TMV type) const {
        auto const i = static_cast<std::size_t>(static_cast<unsigned int>(position));
        return i < size_ && kinds()[i] == type;
    }
    /// Reads such a value for a typed getter. It needs no virtual call.
    template <class Result>
    Result read_in_place(int position) const {
        auto const i = static_cast<std::size_t>(static_cast<unsigned int>(position));
        if constexpr (std::is_arithmetic_v<Result>) {
            return in_place<typename Tm_plain<Result>::value const>(i)->value();
        } else {
            return Tm_reading<Result>::read(in_place<Tm_value const>(i));
        }
    }

    /// Makes room for the value, and stores the text of a string.
    void prepare(Tm_new_value& value) {
        reserve_next();
        if (value.kind_ == Tm_new_value::UNKEPT) keep_text(value);
    }
    /// Appends a value that prepare() has prepared. Throws nothing.
    void push(Tm_new_value&& value) noexcept { put(size_++, std::move(value)); }
    void put(std::size_t i, Tm_new_value&& value) noexcept;
    /// Appends a value of a plain type. Throws nothing, but needs room from reserve_next().
    template <class Plain>
    void push(Plain value) {
        ::new (slots_[size_].bytes) typename Tm_plain<Plain>::value(value);
        kinds()[size_++] = Tm_plain<Plain>::code;
    }
    /// Does the same for a string, whose text make_text() has made.
    void push_string(char const* text) {
        ::new (slots_[size_].bytes) Tm_string(Tm_string::In_place(), text);
        kinds()[size_++] = TMV_STRING;
    }
    /// Returns a copy of the bytes, which this container owns. Throws Tm_out_of_range_exception for
    /// more bytes than a string may have.
    char const* make_text(std::string_view bytes);
    void keep_text(Tm_new_value& value);

    std::size_t grown_capacity() const;
    void grow();
    void change_capacity(std::size_t count);
    /// Returns whether the container owns its slots and uses less than about eight in nine.
    bool has_spare() const {
        return capacity_ - size_ > first_capacity + size_ / 8U && is_lent_ == 0;
    }
    void give_up_spare() { change_capacity(size_); }
    void destroy(std::size_t i) noexcept;
    void discard(std::size_t i) noexcept;
    void remove_text(char const* text, std::size_t i) noexcept;
    bool has_text_between(char const* begin, char const* end, std::size_t i) const;
    void close_slots(std::size_t i, std::size_t count) noexcept;
    void move_slots(std::size_t from, std::size_t to, std::size_t count) noexcept;
    void destroy_all() noexcept;
    void free_slots() noexcept;
    std::size_t string_bytes() const;
    void copy_values(Tm_value_container const& other);
    bool equals(Tm_value_container const& other) const;
    bool equals_at(Tm_value_container const& other, std::size_t i) const;
    /// Returns whether both are null, or both are equal values.
    static bool are_equal(Tm_value const* left, Tm_value const* right);
    /// Writes value i into the room, or sends its events when the room is null. Throws Tm_exception
    /// for an empty slot.
    bool accept(std::size_t i, Tm_visitor& visitor, Tm_wire_room* room) const;

    Tm_slot* slots_ = nullptr;  ///< the slots, then a kind for each
    std::uint32_t size_ = 0;
    std::uint32_t capacity_ : 30;
    std::uint32_t is_lent_ : 1;      ///< the slots are memory of a lender
    std::uint32_t uses_lender_ : 1;  ///< counts as a user of that lender
    Tm_texts texts_;
};
