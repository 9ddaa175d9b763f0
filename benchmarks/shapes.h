/// Inputs as strangers may send them, in the wire form, in chunks and as list text. Each grows in
/// proportion to its count.
#pragma once

#include <string>

/// `count` members with names of their own.
std::string members(int count);
/// `count` members of one name.
std::string one_name(int count);
/// Names of 60,000 bytes, all but their end alike.
std::string long_names(int count);
/// `count` names in the message's table, and as many members that use them.
std::string names_by_index(int count);
std::string structs_by_index(int count);
std::string empty_arrays(int count);
std::string empty_structs(int count);
std::string empty_messages(int count);
/// Each within the one before.
std::string nested_arrays(int depth);
std::string nested_structs(int depth);
std::string nested_messages(int depth);
/// One string value after another, each as long as one may be.
std::string long_strings(int count);

/// Chunks, each the first of a message of its own.
std::string first_chunks(int count);
/// Chunks of no known message.
std::string stray_chunks(int count);
/// One message in chunks of one byte.
std::string one_byte_chunks(int count);

std::string list_members(int count);
std::string list_escapes(int count);
/// Each within the one before.
std::string list_arrays(int depth);
/// Values that never end: a quoted one holds `count` opening quotes more.
std::string list_open_quotes(int count);
