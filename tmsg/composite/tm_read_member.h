/// Reading a found member as what a typed getter promises: the type code must match exactly, or
/// Tm_type_mismatch_exception is thrown; nothing is converted.
#pragma once

#include <string_view>

#include "tmsg/export.h"
#include "tmsg/value/tm_type_code.h"
#include "tmsg/value/tm_value.h"

/// Exported before it is complete, for the readings below are exported with it.
class TMSG_API Message;

/// Exists for the eight integer types, double, bool, char const* (zero-terminated text),
/// std::string_view, and pointers to const Tm_date, Tm_binary, Tm_file, Tm_array, Tm_struct and
/// Message. What a pointer points to belongs to the container.
template <class Result>
TMSG_API Result tm_read_member(Tm_value const* member);

/// The member itself when its type code is `type`.
Tm_value const* tm_check_member_type(Tm_value const* member, TMV type);

/// The one downcast to the message, which stands above the composites.
Message const* tm_as_message(Tm_value const* member);
