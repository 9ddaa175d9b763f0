/// Removes the files of received values.
#pragma once

#include <unistd.h>

#include "target.h"

inline void remove_files_of(Tm_value const& value);

template <class Container>
void remove_files_within(Container const& container) {
    for (int i = 0; i < container.get_member_count(); ++i) {
        remove_files_of(*container.get_value(i));
    }
}

inline void remove_files_of(Tm_value const& value) {
    switch (value.get_value_type()) {
        case TMV_FILE:
            ::unlink(static_cast<Tm_file const&>(value).path().c_str());
            break;
        case TMV_ARRAY:
            return remove_files_within(static_cast<Tm_array const&>(value));
        case TMV_STRUCT:
            return remove_files_within(static_cast<Tm_struct const&>(value));
        case TMV_MESSAGE:
            for (auto const group : {Message::TMG_META, Message::TMG_BODY}) {
                remove_files_within(static_cast<Message const&>(value).get_const_struct(group));
            }
            break;
        default:
            break;
    }
}
