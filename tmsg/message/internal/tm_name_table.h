/// The table of names that a message sent by index carries: an array of strings, in which a wire
/// index is a position. Message::name_table_position() says where it is.
#pragma once

#include <memory>
#include <string>

#include "tmsg/value/tm_catalog.h"
#include "tmsg/value/tm_owners.h"

class Message;
class Tm_array;
class Tm_layout;

/// Null where the message has no table, or none that a receiver could read.
Tm_array const* tm_find_name_table(Message const& message);
/// The names for a receiver to which TMG_META has just come; null without a table. Throws
/// Tm_type_mismatch_exception for one that is no array of strings.
Tm_counted_ptr<Tm_layout> tm_receive_name_table(Message const& message);
/// Throws Tm_out_of_range_exception for a name that is too long for a string.
std::unique_ptr<Tm_array> tm_make_name_table(Tm_catalog<std::string> const& names);
