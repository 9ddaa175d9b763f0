/// A text of any value for people with a debugger, also where the library and the program have no
/// debug information:
///
///     (gdb) print (char*) tmsg_debug_text(message)
///     $1 = "request stock.reserve {} {article: \"bolt M8\", count: int32_t 250}"
///
/// contrib/gdb/tmsg.py prints values without a call of a function, so it can read core files, too.
#pragma once

#include "tmsg/export.h"

class Tm_value;

/// Returns a zero-terminated text of the value and everything in it. A text of more than about
/// 16,000 bytes, or with more than 60 levels, ends with "...". Byte strings are cut, and files show
/// their size only. Null gives "null". The text ends with "(incomplete)" where a value throws when
/// it is walked, as an empty slot does.
/// The function reads no file, and allocates no memory unless a value throws. So a debugger may
/// call it wherever the process has stopped. `value` must point to a value that lives. The next
/// call on any thread writes over the text.
extern "C" TMSG_API char const* tmsg_debug_text(Tm_value const* value) noexcept;
