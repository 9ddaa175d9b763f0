/// The owning list of values behind structs and arrays. A slot may be empty (null). Access outside
/// 0 to size() - 1 throws Tm_out_of_range_exception and changes nothing.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "tmsg/value/tm_value.h"

class TMSG_API Tm_value_container {
public:
    Tm_value_container();
    /// Clones every value.
    Tm_value_container(Tm_value_container const& other);
    Tm_value_container& operator=(Tm_value_container const& other);
    ~Tm_value_container();

    void swap(Tm_value_container& other) noexcept;
    int size() const { return static_cast<int>(slots_.size()); }
    void reserve(int count);
    /// Room for one more, so that the next push cannot fail.
    void reserve_next();

    /// Each answers the stored value. `..._own` takes the value over and frees it on failure.
    Tm_value* push_and_copy(Tm_value const* value);
    Tm_value* push_and_own(Tm_value* value);
    Tm_value* set_and_copy(int position, Tm_value const* value);
    Tm_value* set_and_own(int position, Tm_value* value);

    Tm_value* get_value(int position);
    Tm_value const* get_value(int position) const;

    /// Destroys the values and leaves the slots empty.
    void delete_all();
    void delete_and_remove_all();
    /// Leaves `count` empty slots.
    void size_and_clear(int count);

private:
    std::size_t checked(int position) const;

    std::vector<std::unique_ptr<Tm_value>> slots_;
};
