/// Makes output for people: text that does no harm to a terminal, colours, errors and progress.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

/// Returns the text as valid UTF-8 without control characters. Every other byte becomes an escape
/// such as \n or \xNN.
std::string printable(std::string_view text);

/// Does the same for the first `most` bytes. Appends "..." when there are more.
std::string shortened(std::string_view text, std::size_t most);

/// Does the same and puts the text in quotes. Escapes quotes and backslashes too.
std::string quoted(std::string_view text, std::size_t most);

/// Appends the two hexadecimal digits of the byte, in lower case.
void append_hex(std::string& to, unsigned int byte);

/// Returns the first `most` bytes in hexadecimal, as in "01 ff". Appends "..." when there are more.
std::string hexadecimal(std::string_view bytes, std::size_t most);

enum class Colour { none = 0, dim = 2, red = 31, green = 32, cyan = 36 };

enum class Colours { automatic, always, never };

/// Chooses whether painted() uses colours. Call it before painted().
void use_colours(Colours colours);

/// Returns the text in that colour, or without a colour. Automatic colours are used when standard
/// output is a terminal and NO_COLOR is not set.
std::string painted(Colour colour, std::string_view text);

/// Writes "tmsg: TEXT" to standard error as one line.
void report(std::string_view text);

/// Writes the same line if it is wanted, which be_quiet() ends.
void note(std::string_view text);
/// Ends notes and progress.
void be_quiet();

/// Removes the progress that is shown from the terminal.
void wipe_progress();

/// Shows the progress of long work on standard error, if that is a terminal. Shows nothing for
/// short work, and nothing when output has gone to a terminal.
class Progress {
public:
    /// `total` is the number of bytes in all, or 0 when that is not known.
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
    Clock::time_point next_;
};
