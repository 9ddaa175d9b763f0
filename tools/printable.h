/// Text that does no harm to a terminal: valid UTF-8 without control characters.
#pragma once

#include <string>
#include <string_view>

/// Writes every other byte as \n, \t and the like or as \xNN.
std::string printable(std::string_view text);

/// Only the first `most` bytes and "..." when there are more.
std::string shortened(std::string_view text, std::size_t most);

/// In quotes, with quotes and backslashes escaped too, and shortened likewise.
std::string quoted(std::string_view text, std::size_t most);

/// "01 ff", likewise.
std::string hexadecimal(std::string_view bytes, std::size_t most);
