#include "tmsg/creator/tm_destination.h"

#include <utility>

#include "tmsg/composite/tm_array.h"
#include "tmsg/composite/tm_struct.h"

void Tm_destination::add(std::unique_ptr<Tm_value> value) const {
    if (struct_ != nullptr) {
        struct_->add_interned(*name_, std::move(value));
    } else {
        array_->add_member_and_own(value.release());
    }
}
