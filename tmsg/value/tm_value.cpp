#include "tmsg/value/tm_value.h"

#include <cstddef>
#include <iterator>

Tm_value::~Tm_value() = default;

char const* Tm_value::tmv_to_string(TMV type) {
    static char const* const names[] = {
        "int8_t", "uint8_t", "int16_t", "uint16_t", "int32_t", "uint32_t", "int64_t", "uint64_t",
        "double", "bool",    "string",  "date",     "binary",  "file",     "array",   "struct"};
    auto const index = static_cast<std::size_t>(type);
    return index < std::size(names) ? names[index] : "unknown";
}

bool operator==(Tm_value const& left, Tm_value const& right) {
    return left.get_value_type() == right.get_value_type() && left.equals(right);
}

bool operator!=(Tm_value const& left, Tm_value const& right) { return !(left == right); }

char const* Tm_message_kind::tmt_to_string(TMT kind) {
    switch (kind) {
        case TMT_REQUEST:
            return "request";
        case TMT_RESPONSE:
            return "response";
        case TMT_FAULT:
            return "fault";
    }
    return "unknown";
}
