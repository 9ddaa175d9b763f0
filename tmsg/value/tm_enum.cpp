#include "tmsg/value/tm_enum.h"

#include <cstring>

#include "tmsg/value/tm_exception.h"

char const* tms_enum_to_string(int value, tm_enum_map const* table) {
    for (tm_enum_map const* at = table; at->name != nullptr; ++at) {
        if (at->value == value) return at->name;
    }
    throw Tm_enum_not_found_exception(value, table->name);
}

int tms_string_to_enum(char const* name, tm_enum_map const* table) {
    for (tm_enum_map const* at = table; at->name != nullptr; ++at) {
        if (std::strcmp(at->name, name) == 0) return at->value;
    }
    throw Tm_enum_not_found_exception(name, table->name);
}
