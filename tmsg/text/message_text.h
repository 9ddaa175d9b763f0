/// A message as text in one step. Message::from_string() is the way back.
#pragma once

#include <iosfwd>

#include "tmsg/export.h"
#include "tmsg/message/message.h"

/// The message as list text (see Tm_tcl_encoder), for logs: from 1,024 bytes on it is cut short.
TMSG_API std::ostream& operator<<(std::ostream& out, Message const& message);
