/// Writes text and bytes to standard output, or to a file in its place.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "io/system.h"

/// Unwinds the stack when output cannot be written. It is no std::exception, because the handlers
/// that go on after other failures must not catch it.
struct Output_failure {
    std::string text;
};

/// Unwinds the stack when the reader has closed the output. main() then calls
/// end_by_closed_pipe().
struct Closed_output {};

/// Ends the process by SIGPIPE, as the signal does by default.
[[noreturn]] void end_by_closed_pipe();

/// Makes all output go to the file. The first output makes or empties the file, so that a failure
/// before leaves it as it was.
void write_output_to(std::string const& path);
/// Makes or empties that file if there was no output. Call it after success, so that the file never
/// keeps older output. Throws Output_failure.
void make_output();
/// Returns whether the descriptor is that of the file that write_output_to() got.
bool is_output_file(int descriptor);

/// Writes in blocks. Throws Output_failure when writing fails, Closed_output and Interrupted.
void write_output(std::string_view text);
/// Writes the bytes that wait for their block to be full. Throws what write_output() throws.
void flush_output();
/// Returns the number of bytes that write_output() has got so far.
std::size_t output_size();
/// Returns whether a line feed is the last byte of the output, or there is none yet.
bool output_ends_line();
/// Returns false when the program was started without a standard output and writes to no file.
bool output_is_open();
bool output_is_terminal();

/// While it lives, all output goes to the descriptor. The destructor discards what still waits for
/// its block to be full.
class Output_redirection {
public:
    /// `path` stands in errors. Throws Bad_usage after write_output_to().
    Output_redirection(int descriptor, std::string const& path);
    Output_redirection(Output_redirection const&) = delete;
    Output_redirection& operator=(Output_redirection const&) = delete;
    ~Output_redirection();
};
