/// List text that keeps everything: every digit of a double, byte strings, the contents of files,
/// and quotes and backslashes in strings. For a message without these, it is the text of
/// Tm_tcl_encoder.
#pragma once

#include <tmsg/tmsg.h>

#include <string>

/// Returns the list text. Throws Failure for a message that cannot be read back from the text, for
/// example because a name ends with a backslash, and what the encoder and the decoder throw.
std::string exact_list_text(Message const& message);
