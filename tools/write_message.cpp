#include "write_message.h"

#include <functional>

#include "dump.h"
#include "failure.h"
#include "output.h"
#include "progress.h"

namespace {

using Sink = std::function<void(unsigned char const* data, std::size_t size)>;

constexpr char const* table_name = "catalog";

std::string_view as_text(unsigned char const* data, std::size_t size) {
    return {reinterpret_cast<char const*>(data), size};
}

/// All chunks, each from its byte `from` on.
void encode(Message const& message, Writing const& writing, std::size_t from, Sink const& sink) {
    Tm_chunk_sender sender(writing.chunk_size);
    sender.send(message, writing.seq_no, static_cast<unsigned char>(writing.port),
                [&](unsigned char const* chunk, std::size_t size) {
                    sink(chunk + from, size - from);
                    return true;
                });
}

void write_binary(Message const& message, Writing const& writing, std::size_t from) {
    encode(message, writing, from,
           [](unsigned char const* data, std::size_t size) { write_output(as_text(data, size)); });
}

void write_dump(Message const& message, Writing const& writing) {
    Tm_limits none;  // it was read within its limits
    none.max_depth = ~0U;
    none.max_message_bytes = ~0UL;
    Dump dump(none);
    encode(message, writing, sizeof(TM_HEADER),
           [&](unsigned char const* data, std::size_t size) { dump.add(data, size); });
    dump.write();
}

void write_xml(Message const& message, int piece_size) {
    Tm_xml_file_size_encoder encoder(piece_size);
    Progress progress("wrote", 0);
    auto const ship = [&](int size) {
        write_output({encoder.data(), static_cast<std::size_t>(size)});
        progress.advance(static_cast<std::size_t>(size));
    };
    while (!message.accept(encoder)) {
        do ship(piece_size);
        while (!encoder.continue_fill());
    }
    ship(encoder.fill());
}

template <class Encoder>
void write_text(Message const& message, unsigned int limit) {
    Encoder encoder(limit);
    message.accept(encoder);
    write_output(encoder.get_string());
}

void remove_tables(Tm_value& value);

template <class Container>
void remove_tables_within(Container& container) {
    for (int i = 0; i < container.get_member_count(); ++i) remove_tables(*container.get_value(i));
}

void remove_table(Message& message) {
    Tm_struct& meta = message.get_struct(Message::TMG_META);
    if (meta.get_member_index(table_name) < 0) return;
    Tm_struct rest(nullptr);
    for (int i = 0; i < meta.get_member_count(); ++i) {
        std::string const name(meta.get_member_name(i), meta.get_member_name_length(i));
        if (name != table_name) rest.add_member(name, meta.get_value(i));
    }
    meta = rest;
}

/// Of all messages within the value.
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

void prepare_names(Message& message, Names names) {
    if (names == Names::as_text) return remove_tables(message);
    bool const done =
        names == Names::by_index ? message.index_member_names() : message.restore_member_indexes();
    if (!done) throw Failure("the names of this message cannot be sent by index");
}

void write_message(Message const& message, Form form, Writing const& writing) {
    switch (form) {
        case Form::tcl:
            return write_text<Tm_tcl_encoder>(message, writing.limit);
        case Form::json:
            return write_text<Tm_json_encoder>(message, writing.limit);
        case Form::xml:
            return write_xml(message, writing.xml_piece_size);
        case Form::dump:
            return write_dump(message, writing);
        case Form::wire:
            return write_binary(message, writing, sizeof(TM_HEADER));
        case Form::chunks:
            return write_binary(message, writing, 0);
    }
}

bool is_text(Form form) { return form != Form::wire && form != Form::chunks; }
