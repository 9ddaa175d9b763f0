#include "tmsg/creator/tm_binary_creator.h"

#include "tmsg/creator/tm_announced_size.h"
#include "tmsg/value/tm_binary.h"

Tm_binary_creator::Tm_binary_creator(Tm_destination destination, unsigned int length)
    : Tm_leaf_state(destination, length) {}

bool Tm_binary_creator::visit_binary_continue(char const* data, unsigned int length) {
    if (!fits(length)) return fail("binary string longer than given length");
    tm_append_announced(bytes_, data, length, expected());
    if (!count(length)) return true;
    return finish(std::make_unique<Tm_binary>(std::move(bytes_)));
}
