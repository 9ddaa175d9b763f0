/// Writes text and bytes to standard output.
#pragma once

#include <cstddef>
#include <string_view>

#include "io/system.h"

/// A failure to write output. It also ends the server, which goes on after other failures.
class Output_failure : public Failure {
public:
    using Failure::Failure;
};

/// Writes in blocks. Throws Output_failure when writing fails, and Interrupted.
void write_output(std::string_view text);
/// Writes the bytes that wait for their block to be full. Throws what write_output() throws.
void flush_output();
/// Returns the number of bytes that write_output() has got so far.
std::size_t output_size();
/// Returns false when the program was started without a standard output.
bool output_is_open();
