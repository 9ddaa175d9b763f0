/// Output for people: text that does no harm to a terminal, colours, errors and progress.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

/// Valid UTF-8 without control characters: every other byte becomes \n, \t and the like or \xNN.
std::string printable(std::string_view text);

/// The same of the first `most` bytes, and "..." when there are more.
std::string shortened(std::string_view text, std::size_t most);

/// The same in quotes, with quotes and backslashes escaped too.
std::string quoted(std::string_view text, std::size_t most);

/// The first `most` bytes as "01 ff", and "..." when there are more.
std::string hexadecimal(std::string_view bytes, std::size_t most);

enum class Colour { none = 0, dim = 2, red = 31, green = 32, cyan = 36 };

bool output_is_terminal();

/// The text in that colour if standard output is a terminal and NO_COLOR is not set.
std::string painted(Colour colour, std::string_view text);

/// Writes "tmsg: TEXT" to standard error, on one line.
void report(std::string_view text);

/// How far a long conversion is, on standard error if that is a terminal and the output goes to
/// another place. A short conversion shows nothing.
class Progress {
public:
    /// Bytes in all; 0 when that is not known.
    Progress(std::string what, std::size_t total);
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;
    /// Wipes the line.
    ~Progress();

    void advance(std::size_t bytes);

private:
    using Clock = std::chrono::steady_clock;

    void show() const;

    std::string what_;
    std::size_t total_;
    std::size_t done_ = 0;
    bool is_wanted_;
    bool is_shown_ = false;
    Clock::time_point next_;
};
