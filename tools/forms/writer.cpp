/// Writes the dump, and messages in every form.
#include "forms/writer.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <string_view>

#include "io/terminal.h"

namespace {

constexpr std::size_t dump_capacity = 1 << 16;

std::string_view as_text(unsigned char const* data, std::size_t size) {
    return {reinterpret_cast<char const*>(data), size};
}

bool write_bytes(unsigned char const* data, std::size_t size) {
    write_output(as_text(data, size));
    return true;
}

void write_chunks(Message const& message, Writing const& writing) {
    auto const port = static_cast<unsigned char>(writing.port);
    Tm_chunk_sender(writing.chunk_size).send(message, writing.seq_no, port, write_bytes);
}

void write_dump(Message const& message, Writing const& writing) {
    Dump dump(no_limits(), writing.max_text);
    auto const add = [&](auto... bytes) { return dump.add(bytes...); };
    tm_encode(message, add, writing.chunk_size);
    dump.write();
}

template <class Ship>
void encode_xml(Message const& message, Writing const& writing, Ship ship) {
    Tm_xml_file_size_encoder encoder(writing.xml_piece_size, writing.max_text);
    tm_encode_pieces(message, encoder, [&](char const* data, std::size_t size, bool) {
        ship(std::string_view(data, size));
        return true;
    });
}

/// With a limit, encodes twice, so that a text that is too long throws before any of it is written.
void write_xml(Message const& message, Writing const& writing) {
    if (writing.max_text != tm_no_text_limit) encode_xml(message, writing, [](auto) {});
    Progress progress("wrote", 0);
    encode_xml(message, writing, [&](std::string_view piece) {
        write_output(piece);
        progress.advance(piece.size());
    });
}

template <class Encoder>
void write_text(Message const& message, Writing const& writing) {
    auto const limit = std::min<unsigned long>(writing.limit, writing.max_text);
    Encoder encoder(static_cast<unsigned int>(limit));
    encoder.set_sink(write_output);
    message.accept(encoder);
    write_output(encoder.get_string());
}

void check_text_size(std::size_t size, Writing const& writing) {
    if (size <= writing.max_text) return;
    throw Failure("text longer than " + std::to_string(writing.max_text) + " bytes");
}

void write_typed_json(Message const& message, Writing const& writing) {
    Tm_typed_json_encoder encoder(writing.indent);
    message.accept(encoder);
    check_text_size(encoder.get_string().size(), writing);
    write_output(encoder.get_string());
}

void write_hex(Message const& message, Writing const& writing) {
    if (writing.max_text != tm_no_text_limit) {
        check_text_size(2 * tm_encoded_size(message), writing);
    }
    tm_encode(message, [](unsigned char const* data, std::size_t size) {
        std::string digits;
        for (std::size_t i = 0; i < size; ++i) append_hex(digits, data[i]);
        write_output(digits);
        return true;
    });
}

void remove_tables(Tm_value& value);

template <class Container>
void remove_tables_within(Container& container) {
    for (int i = 0; i < container.get_member_count(); ++i) remove_tables(*container.get_value(i));
}

/// Removes all members with the name of the table. Otherwise the second one would become the table.
void remove_table(Message& message) {
    for (int position = 0; (position = message.name_table_position()) >= 0;) {
        message.remove_member(Message::TMG_META, position);
    }
}

/// Removes the tables of all messages within the value.
void remove_tables(Tm_value& value) {
    switch (value.get_value_type()) {
        case TMV_ARRAY:
            return remove_tables_within(static_cast<Tm_array&>(value));
        case TMV_STRUCT:
            return remove_tables_within(static_cast<Tm_struct&>(value));
        case TMV_MESSAGE: {
            auto& message = static_cast<Message&>(value);
            remove_table(message);
            remove_tables_within(message.get_struct(Message::TMG_META));
            return remove_tables_within(message.get_struct(Message::TMG_BODY));
        }
        default:
            return;
    }
}

}  // namespace

Tm_limits no_limits() {
    Tm_limits limits;
    limits.max_depth = std::numeric_limits<unsigned int>::max();
    limits.max_message_bytes = std::numeric_limits<unsigned long>::max();
    limits.max_file_bytes = std::numeric_limits<unsigned long>::max();
    limits.max_files = std::numeric_limits<unsigned int>::max();
    limits.max_values = std::numeric_limits<unsigned long>::max();
    limits.max_memory = std::numeric_limits<unsigned long>::max();
    return limits;
}

void check_output(Form form, Writing const& writing) {
    if (is_text(form) || writing.is_forced || !output_is_terminal()) return;
    throw Bad_usage(name_of(form) + " is no text for a terminal; use --output FILE or --force");
}

void end_output(Form form) {
    if (ends_with_line(form) || (is_text(form) && output_is_terminal())) write_output("\n");
    flush_output();
}

Dump::Dump(Tm_limits const& limits, unsigned long max_text)
    : file_(open_temporary_file()), decoder_(dump_capacity, file_.get(), limits, max_text) {}

bool Dump::add(unsigned char const* data, std::size_t size) {
    return tm_feed(decoder_, data, size);
}

void Dump::write() {
    decoder_.finalize();
    if (!decoder_.error().empty()) throw Failure(decoder_.error());
    bool const is_written = std::fflush(file_.get()) == 0 && std::ferror(file_.get()) == 0;
    if (!is_written) throw Failure::of_system("failed to write to a temporary file");
    std::rewind(file_.get());
    char block[dump_capacity];
    for (std::size_t got = 0; (got = std::fread(block, 1, sizeof block, file_.get())) != 0;) {
        write_output({block, got});
    }
    if (std::ferror(file_.get()) != 0) throw Failure::of_system("failed to read a temporary file");
}

void prepare_names(Message& message, Names names) {
    if (names == Names::as_text) return remove_tables(message);
    bool const done =
        names == Names::by_index ? message.index_member_names() : message.restore_member_indexes();
    if (!done) throw Failure("the names of this message cannot be sent by index");
}

void write_message(Message const& message, Form form, Writing const& writing) {
    switch (form) {
        case Form::tcl:
            return write_text<Tm_tcl_encoder>(message, writing);
        case Form::json:
            return write_text<Tm_json_encoder>(message, writing);
        case Form::xml:
            return write_xml(message, writing);
        case Form::dump:
            return write_dump(message, writing);
        case Form::wire:
            tm_encode(message, write_bytes, writing.chunk_size);
            return;
        case Form::chunks:
            return write_chunks(message, writing);
        case Form::typed_json:
            return write_typed_json(message, writing);
        case Form::hex:
            return write_hex(message, writing);
        case Form::automatic:
            throw Failure("no form to write");
    }
}

Message_writer::Message_writer(Form form, Writing const& writing) : form_(form), writing_(writing) {
    check_output(form, writing);
}

void Message_writer::write(Message const& message) {
    write_next([&] { write_message(message, form_, writing_); });
}

void Message_writer::write(Dump& dump) {
    write_next([&] { dump.write(); });
}

template <class Write>
void Message_writer::write_next(Write write) {
    if (needs_line_feed_) write_output("\n");
    needs_line_feed_ = false;
    write();
    if (ends_with_line(form_)) return write_output("\n");
    needs_line_feed_ = is_text(form_);
}

void Message_writer::finish() const {
    if (needs_line_feed_ && output_is_terminal()) write_output("\n");
    flush_output();
}
