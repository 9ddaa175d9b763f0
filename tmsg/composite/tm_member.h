/// A name and a value for a struct in braces (see Tm_struct).
#pragma once

#include <string_view>
#include <utility>

#include "tmsg/composite/tm_make_value.h"

class Tm_member {
public:
    /// Refers to the name, which must live until the struct is made. Converts the value as
    /// add_member() does. An empty optional makes no member.
    template <class Value>
    Tm_member(std::string_view name, Value&& value)
        : name_(name), value_(value_of(std::forward<Value>(value))) {}

private:
    friend class Tm_struct;

    template <class Value>
    static Tm_new_value value_of(Value&& value) {
        if constexpr (Tm_is_optional<std::decay_t<Value>>::value) {
            if (!value) return Tm_new_value(std::unique_ptr<Tm_value>());
            return value_of(*std::forward<Value>(value));
        } else {
            return tm_make_value(std::forward<Value>(value));
        }
    }

    std::string_view name_;
    mutable Tm_new_value value_;  ///< moved out of the const elements of a std::initializer_list
};
