/// The values directly within a struct, an array or a message (its two groups); others have none.
#pragma once

#include "tmsg/composite/tm_array.h"
#include "tmsg/composite/tm_struct.h"
#include "tmsg/message/message.h"

template <class Container, class Visit>
void tm_for_each_member(Container const& container, Visit visit) {
    int const count = container.get_member_count();
    for (int i = 0; i < count; ++i) {
        Tm_value const* const value = container.get_value(i);
        if (value != nullptr) visit(*value);
    }
}

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
