#include "tmsg/creator/tm_destination.h"

#include "tmsg/composite/tm_array.h"
#include "tmsg/composite/tm_struct.h"

void Tm_destination::reserve() const {
    if (struct_ != nullptr) {
        struct_->reserve_next();
    } else {
        array_->reserve_next();
    }
}

void Tm_destination::put(Tm_value* value) const {
    if (struct_ != nullptr) {
        struct_->add_interned(*name_, value);
    } else {
        array_->add_member_and_own(value);
    }
}
