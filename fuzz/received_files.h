/// Removes the files of received values.
#pragma once

#include <tmsg/tmsg.h>
#include <unistd.h>

inline void remove_files_of(Tm_value const& value) {
    if (value.get_value_type() == TMV_FILE) {
        ::unlink(static_cast<Tm_file const&>(value).path().c_str());
    }
    tm_for_each_child(value, remove_files_of);
}
