/// Writing output: text and bytes on standard output, and a message there in any form.
#pragma once

#include <tmsg/tmsg.h>

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

#include "system.h"

/// The forms in which the program reads and writes messages.
enum class Form { tcl, wire, chunks, json, xml, dump };

inline std::map<std::string, Form> const output_forms = {
    {"tcl", Form::tcl},   {"wire", Form::wire}, {"chunks", Form::chunks},
    {"json", Form::json}, {"xml", Form::xml},   {"dump", Form::dump}};

bool is_text(Form form);

/// Ends the server too, which survives other failures.
class Output_failure : public Failure {
public:
    using Failure::Failure;
};

/// Writes in blocks. Throws Output_failure when writing fails, and Interrupted.
void write_output(std::string_view text);
/// Writes the bytes that wait for their block to be full. Throws what write_output() throws.
void flush_output();
/// Returns how many bytes went into write_output() so far.
std::size_t output_size();

/// Flushes a message that was written in this form. Behind a text comes a line feed, on a terminal
/// only.
void end_output(Form form);
/// Returns false when the program was started without a standard output.
bool output_is_open();

/// The dump of a message's wire form. A temporary file holds it until all of it is there, because a
/// failed conversion prints nothing.
class Dump {
public:
    /// At most `max_text` bytes of dump. Throws Failure when there is no temporary file.
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

/// How the names of a message's members are written in the binary forms.
enum class Names {
    as_received,  ///< by index where the message came by index
    by_index,
    as_text
};

struct Writing {
    int chunk_size = 4096;  ///< payload bytes
    /// All sizes make the same text. A few large pieces are best, for each takes a walk over the
    /// message.
    int xml_piece_size = 1 << 22;
    unsigned int limit = Tm_text_encoder::DEFAULT_LIMIT;  ///< of JSON and list text
    /// At the limit JSON and list text are cut, and XML and the dump are not written.
    unsigned long max_text = tm_no_text_limit;
    unsigned int seq_no = 1;
    unsigned int port = 0;  ///< a byte
    Names names = Names::as_received;
};

/// Gives the message the indexes and the name table that the choice demands. Throws Failure when
/// the names cannot be indexed.
void prepare_names(Message& message, Names names);

/// Writes the message, in the binary forms with its names as prepared. Throws Failure, and
/// Tm_out_of_range_exception for a name too long for the binary forms and Tm_exception for XML too
/// long, before anything is written.
void write_message(Message const& message, Form form, Writing const& writing);
