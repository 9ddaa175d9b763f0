#include "tmsg/creator/tm_string_creator.h"

#include "tmsg/creator/tm_announced_size.h"
#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_string.h"

Tm_string_creator::Tm_string_creator(Tm_destination destination, unsigned int length)
    : Tm_leaf_state(destination, length) {}

bool Tm_string_creator::visit_string_continue(char const* data, unsigned int length) {
    if (!fits(length)) return fail("string longer than given length");
    tm_append_announced(text_, data, length, expected());
    if (!count(length)) return true;
    try {
        return finish(std::make_unique<Tm_string>(std::move(text_)));
    } catch (Tm_out_of_range_exception const& too_long) {
        return fail(too_long.what());
    }
}
