/// Standard output, of which every failure counts.
#pragma once

#include <cstddef>
#include <string_view>

#include "failure.h"

class Output_failure : public Failure {
public:
    using Failure::Failure;
};

/// Both throw Output_failure when writing fails, and Interrupted.
void write_output(std::string_view text);
/// Bytes that were written so far.
std::size_t output_size();
/// What was written has left the program.
void flush_output();

/// Text that is done: behind it a line feed, on a terminal only.
void end_text_output();
bool output_is_terminal();
/// False: the program was started without a standard output.
bool output_is_open();
