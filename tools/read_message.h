/// One message out of an input.
#pragma once

#include <tmsg/tmsg.h>

#include <memory>

#include "form.h"
#include "input.h"
#include "temporary_files.h"

class Dump;

/// Reads the whole input, which must hold one message and nothing else. What it brings in files is
/// added to `files`. Bytes of the wire form go to `dump` too, if it is not null. Throws Failure,
/// and what the library throws.
std::unique_ptr<Message> read_message(Input& input, Form form, Temporary_files& files,
                                      Tm_limits const& limits, Dump* dump = nullptr);
