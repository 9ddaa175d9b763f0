/// A message onto standard output.
#pragma once

#include <tmsg/tmsg.h>

#include "form.h"

/// How the names of a message's members are written in the binary forms.
enum class Names {
    as_received,  ///< by index where the message came by index
    by_index,
    as_text
};

struct Writing {
    int chunk_size = 4096;  ///< payload bytes
    /// Pieces join to the same text; each walks the message once, so that a few large ones are
    /// best.
    int xml_piece_size = 1 << 22;
    unsigned int limit = Tm_text_encoder::DEFAULT_LIMIT;  ///< of JSON and list text
    /// At the limit JSON and list text are cut, and XML and the dump are not written.
    unsigned long max_text = tm_no_text_limit;
    unsigned int seq_no = 1;
    unsigned int port = 0;  ///< a byte
    Names names = Names::as_received;
};

/// Makes the indexes of the message, and its table of names, what the choice demands. Throws
/// Failure when the names cannot be indexed.
void prepare_names(Message& message, Names names);

/// Writes the message; into the binary forms with its names as prepared. Throws Failure, and
/// Tm_out_of_range_exception for a name too long for the binary forms and Tm_exception for XML too
/// long, before anything is written.
void write_message(Message const& message, Form form, Writing const& writing);

bool is_text(Form form);
