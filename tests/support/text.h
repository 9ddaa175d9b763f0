/// Values as text, and the message of the worked examples.
#pragma once

#include <cstdio>

#include "support/samples.h"
#include "support/wire.h"

template <class Encoder, class... Argument>
std::string text_of(Tm_value const& value, Argument... argument) {
    Encoder encoder(argument...);
    value.accept(encoder);
    return encoder.get_string();
}

/// The same with a sink, whose pieces are joined with the rest.
template <class Encoder>
std::string text_in_pieces(Tm_value const& value, unsigned int limit, std::vector<std::string>& pieces) {
    Encoder encoder(limit);
    encoder.set_sink([&](std::string_view piece) { pieces.emplace_back(piece); });
    value.accept(encoder);
    std::string text;
    for (std::string const& piece : pieces) text += piece;
    return text + encoder.get_string();
}

/// The XML of a value, joined from pieces of that size.
inline std::string xml_of(Tm_value const& value, int piece_size = 1 << 20, unsigned long max_text = tm_no_text_limit) {
    Tm_xml_file_size_encoder encoder(piece_size, max_text);
    std::string text;
    tm_encode_pieces(value, encoder, [&](char const* data, std::size_t size, bool) {
        text.append(data, size);
        return true;
    });
    return text;
}

/// {"a": 1} in the first group, nothing in the second.
inline std::unique_ptr<Message> add_message(Message::TMT kind = Message::TMT_REQUEST) {
    auto message = make_message(kind, "add");
    message->add_member(meta, "a", 1);
    return message;
}

/// Returns the text that `write` prints on a stream. Closes the stream.
template <class Write>
std::string printed_by(Write write) {
    char* text = nullptr;
    std::size_t size = 0;
    FILE* const stream = ::open_memstream(&text, &size);
    write(stream);
    std::fclose(stream);
    std::string const printed(text, size);
    std::free(text);
    return printed;
}
