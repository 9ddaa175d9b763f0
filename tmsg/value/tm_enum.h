/// Tables of enumeration values and their names.
#pragma once

#include "tmsg/export.h"

/// One entry; a table ends with an entry whose name is null. Error texts name its first entry.
struct tm_enum_map {
    int value;
    char const* name;
};

/// The first entry that matches; Tm_enum_not_found_exception when none does. Names match exactly.
TMSG_API char const* tms_enum_to_string(int value, tm_enum_map const* table);
TMSG_API int tms_string_to_enum(char const* name, tm_enum_map const* table);
