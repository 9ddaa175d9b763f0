/// Makes inputs that strangers may send, in the wire form, in chunks and as list text. Each input
/// grows in proportion to its count.
#pragma once

#include <string>

/// Returns `count` members with different names.
std::string members(int count);
/// Returns `count` members with the same name.
std::string one_name(int count);
/// Returns members with names of 60,000 bytes that differ only at their end.
std::string long_names(int count);
/// Returns a message with `count` names in its name table, and as many members that use them.
std::string names_by_index(int count);
std::string structs_by_index(int count);
std::string empty_arrays(int count);
std::string empty_structs(int count);
std::string empty_messages(int count);
/// Each of these returns `depth` values, each within the one before.
std::string nested_arrays(int depth);
std::string nested_structs(int depth);
std::string nested_messages(int depth);
/// Returns strings of the greatest length that a string may have.
std::string long_strings(int count);

/// Returns chunks that each begin another message.
std::string first_chunks(int count);
/// Returns chunks that continue no known message.
std::string stray_chunks(int count);
/// Returns one message in chunks of one byte.
std::string one_byte_chunks(int count);

std::string list_members(int count);
std::string list_escapes(int count);
/// Returns `depth` arrays, each within the one before.
std::string list_arrays(int depth);
/// Returns a quoted string that never ends. It holds `count` further quotes.
std::string list_open_quotes(int count);
