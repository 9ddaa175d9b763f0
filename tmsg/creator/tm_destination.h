/// Where a finished value goes: a member of a struct, under a name the struct has interned, or the
/// end of an array.
#pragma once

#include <memory>
#include <string>

class Tm_array;
class Tm_struct;
class Tm_value;

class Tm_destination {
public:
    explicit Tm_destination(Tm_array* array) : array_(array) {}
    Tm_destination(Tm_struct* target, std::string const* name) : struct_(target), name_(name) {}

    /// Takes the value over; when it throws, the value stays where it is.
    template <class Value>
    void add(std::unique_ptr<Value>& value) const {
        reserve();
        put(value.release());
    }

private:
    void reserve() const;
    void put(Tm_value* value) const;

    Tm_struct* struct_ = nullptr;
    std::string const* name_ = nullptr;
    Tm_array* array_ = nullptr;
};
