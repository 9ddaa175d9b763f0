/// Walks over trees of values where a visitor would be more than is needed:
///
///     std::size_t count(Tm_value const& value) {
///         std::size_t sum = 1;
///         tm_for_each_child(value, [&](Tm_value const& child) { sum += count(child); });
///         return sum;
///     }
#pragma once

#include "tmsg/composite/tm_array.h"
#include "tmsg/composite/tm_struct.h"
#include "tmsg/message/message.h"

/// Calls `visit` with each value in a struct or an array.
template <class Container, class Visit>
void tm_for_each_member(Container const& container, Visit visit) {
    int const count = container.get_member_count();
    for (int i = 0; i < count; ++i) {
        Tm_value const* const value = container.get_value(i);
        if (value != nullptr) visit(*value);
    }
}

/// Calls `visit` with each value directly within a struct or an array, or with both groups of a
/// message; other values have none.
template <class Visit>
void tm_for_each_child(Tm_value const& value, Visit visit) {
    switch (value.get_value_type()) {
        case TMV_STRUCT:
            return tm_for_each_member(static_cast<Tm_struct const&>(value), visit);
        case TMV_ARRAY:
            return tm_for_each_member(static_cast<Tm_array const&>(value), visit);
        case TMV_MESSAGE: {
            auto const& message = static_cast<Message const&>(value);
            visit(message.get_const_struct(Message::TMG_META));
            return visit(message.get_const_struct(Message::TMG_BODY));
        }
        default:
            return;
    }
}
