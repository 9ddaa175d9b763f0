/// Standard output, of which every failure counts.
#pragma once

#include <cstddef>
#include <string_view>

#include "failure.h"

/// All of these throw Failure when writing fails.
void write_output(std::string_view text);
/// What was written has left the program.
void flush_output();

/// Text that is done: behind it a line feed, on a terminal only.
void end_text_output();
bool output_is_terminal();
