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

    void add(std::unique_ptr<Tm_value> value) const;

private:
    Tm_struct* struct_ = nullptr;
    std::string const* name_ = nullptr;
    Tm_array* array_ = nullptr;
};
