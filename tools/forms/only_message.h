/// Reads inputs that must hold one message and nothing else, for verbs that change or compare it.
#pragma once

#include <tmsg/tmsg.h>

#include <memory>
#include <string>

#include "forms/form.h"
#include "forms/reader.h"
#include "forms/writer.h"

struct Only_message {
    std::string name;  ///< of the input
    std::unique_ptr<Message> message;
    Form form = Form::automatic;  ///< of the input, so not automatic
    /// Writes the message as the input has it: with the sequence number, port and size of its
    /// chunks, or with the indentation of its typed JSON. Text has no limit.
    Writing writing;
};

/// Reads the file. Adds the files that the message brings to `files`. Throws what read_message()
/// throws.
Only_message read_only_message(std::string const& path, Form form, Temporary_files& files,
                               Tm_limits const& limits);
