#include "tmsg/composite/tm_number.h"

#include <charconv>
#include <string>

#include "tmsg/composite/tm_read_member.h"
#include "tmsg/value/tm_exception.h"

namespace {

std::string digits(Tm_value const& number) {
    TMV const type = number.get_value_type();
    if (type == TMV_DOUBLE) {
        // The fewest digits that read back: six would show 1.0000001 as the whole number 1.
        char text[32];
        double const value = static_cast<Tm_double const&>(number).value();
        return {text, std::to_chars(text, text + sizeof text, value).ptr};
    }
    auto const& integer = static_cast<Tm_int const&>(number);
    // every accessor but that of the stored type returns 0
    long const small = long{integer.value_int8()} + integer.value_uint8() + integer.value_int16() +
                       integer.value_uint16() + integer.value_int32() + integer.value_uint32() +
                       integer.value_int64();
    return type == TMV_UINT64 ? std::to_string(integer.value_uint64()) : std::to_string(small);
}

}  // namespace

void tm_refuse_number(Tm_value const& number, TMV wanted) {
    TMV const type = number.get_value_type();
    bool const is_number = type <= TMV_UINT64 || type == TMV_DOUBLE;
    if (!is_number) throw Tm_type_mismatch_exception(type, wanted);
    throw Tm_out_of_range_exception("number " + digits(number) + " out of range of " +
                                    Tm_value::tmv_to_string(wanted));
}
