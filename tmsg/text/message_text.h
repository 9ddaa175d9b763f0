/// Writes a message as text in one step. Message::from_string() reads such text.
#pragma once

#include <iosfwd>

#include "tmsg/export.h"
#include "tmsg/message/message.h"

/// Writes the message as list text (see Tm_tcl_encoder), for logs. A text that reaches 1,024 bytes
/// is cut.
TMSG_API std::ostream& operator<<(std::ostream& out, Message const& message);
