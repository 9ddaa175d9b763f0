/// Writes a message to standard output in any form.
#pragma once

#include <tmsg/tmsg.h>

#include <cstddef>

#include "forms/form.h"
#include "io/output.h"

/// Flushes a message that was written in this form. Writes a line feed after typed JSON and
/// hexadecimal text, and after each other text if standard output is a terminal.
void end_output(Form form);

/// Returns limits that refuse nothing, for a message that was within its limits when it was read.
Tm_limits no_limits();

/// The dump of a message in the wire form. A temporary file holds the dump until it is complete,
/// because a failed conversion prints nothing.
class Dump {
public:
    /// Makes a dump of at most `max_text` bytes. Throws Failure when it cannot make a temporary
    /// file.
    Dump(Tm_limits const& limits, unsigned long max_text);

    /// Takes the next bytes of the wire form. Returns false when write() will throw.
    bool add(unsigned char const* data, std::size_t size);
    /// Writes the dump to standard output. Throws Failure for bytes that are no wire form and when
    /// reading or writing fails.
    void write();

private:
    Temporary_file file_;
    Tm_bin_decoder_to_text decoder_;
};

/// The way in which the names of members are written in the binary forms.
enum class Names {
    as_received,  ///< by index if the message came with names by index
    by_index,
    as_text
};

struct Writing {
    int chunk_size = 4096;  ///< payload bytes
    /// The text is the same for all sizes. A few large pieces take the least time, because each
    /// piece needs a walk over the message.
    int xml_piece_size = 1 << 22;
    unsigned int limit = Tm_text_encoder::DEFAULT_LIMIT;  ///< the limit of JSON and list text
    /// Longer JSON and list text is cut. Longer XML and a longer dump are not written.
    unsigned long max_text = tm_no_text_limit;
    unsigned int seq_no = 1;
    unsigned int port = 0;  ///< the port byte, 0 to 255
    Names names = Names::as_received;
    int indent = 0;          ///< of typed JSON; with 0, a message is one line
    bool is_forced = false;  ///< bytes may go to a terminal
};

/// Throws Bad_usage when the output would be bytes on a terminal, unless that is forced.
void check_output(Form form, Writing const& writing);

/// Adds or removes the indexes and the name table of the message, as `names` says. Throws Failure
/// when the names cannot be indexed.
void prepare_names(Message& message, Names names);

/// Writes the message. Call prepare_names() before for the binary forms. Throws Failure. Before it
/// writes anything, throws Tm_out_of_range_exception for a name that is too long for the binary
/// forms, and Tm_exception for XML that is too long.
void write_message(Message const& message, Form form, Writing const& writing);

/// Writes messages one after another. A line feed stands between two texts, and after each message
/// of typed JSON and hexadecimal text.
class Message_writer {
public:
    /// Throws what check_output() throws.
    Message_writer(Form form, Writing const& writing);

    /// Both throw what write_message() throws.
    void write(Message const& message);
    void write(Dump& dump);
    /// Ends the output. Call it after the last message.
    void finish() const;

private:
    template <class Write>
    void write_next(Write write);

    Form form_;
    Writing writing_;
    bool needs_line_feed_ = false;  ///< before the next message
};
