/// The name table of a message that is sent by index: an array of strings. A wire index is a
/// position in it. Message::name_table_position() returns the position of the table.
#pragma once

#include <memory>
#include <string>

#include "tmsg/fwd.h"
#include "tmsg/value/tm_catalog.h"
#include "tmsg/value/tm_owners.h"

class Tm_array;
class Tm_layout;

/// Returns the table, which the message owns. Returns null when there is no table, or a table that
/// a receiver could not read.
Tm_array const* tm_find_name_table(Message const& message);
/// Returns the names of a table that has just been received, or null when there is no table. Throws
/// Tm_type_mismatch_exception for a table that is not an array of strings.
Tm_counted_ptr<Tm_layout> tm_receive_name_table(Message const& message);
/// Makes a table of the names. Throws Tm_out_of_range_exception for a name too long for a string.
std::unique_ptr<Tm_array> tm_make_name_table(Tm_catalog<std::string> const& names);
