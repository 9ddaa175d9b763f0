/// Base64 as in RFC 4648, with padding: four characters for each three bytes.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

/// Writes bytes that come in pieces of any length.
class Tm_base64_writer {
public:
    /// Appends the characters of all complete groups of three bytes.
    void add(std::string_view bytes, std::string& text);
    /// Appends the characters of the last group. The next bytes begin another sequence.
    void finish(std::string& text);

private:
    static constexpr std::size_t group_size = 3;

    std::array<char, group_size> group_{};  ///< the bytes of a group that is not complete
    std::size_t held_ = 0;                  ///< how many they are
};

/// Returns whether the text is base64 as the writer makes it: with padding, and with no bits that
/// belong to no byte.
bool tm_is_base64(std::string_view text);

/// Returns the number of bytes in such a text.
std::size_t tm_base64_size(std::string_view text);

/// Writes these bytes to `to`, and returns their end. A part of a text is a text, too, when its
/// length is a multiple of four.
char* tm_read_base64(std::string_view text, char* to);
