/// The creator that the library's own decoders use. Since nothing derives from it, they call its
/// operations directly, and may pass the pieces of an item at once.
#pragma once

#include "tmsg/creator/tm_creator.h"

class Tm_own_creator final : public Tm_creator {
public:
    using Tm_creator::Tm_creator;
};
