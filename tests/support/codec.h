/// Messages to bytes and back in one call.
#pragma once

#include <tmsg/tmsg.h>

#include <memory>
#include <string>
#include <vector>

#include "support/bytes.h"

/// The chunks of a value's encoding, without headers.
inline std::vector<Bytes> encode_chunks(Tm_value const& value, int chunk_size) {
    std::vector<Bytes> chunks;
    Tm_bin_encoder encoder(chunk_size);
    auto const ship = [&](int size) { chunks.emplace_back(encoder.data(), encoder.data() + size); };
    while (!value.accept(encoder)) {
        do ship(encoder.chunk_size());
        while (!encoder.continue_fill());
    }
    while (encoder.fill_position() > chunk_size) {
        ship(chunk_size);
        encoder.continue_fill();
    }
    ship(encoder.fill_position());
    return chunks;
}

inline Bytes encode(Tm_value const& value) { return encode_chunks(value, 1 << 20).front(); }

struct Decoded {
    std::unique_ptr<Message> message;
    std::string error;
    bool all_consumed;
};

/// Feeds a decoder pieces of the given size, the rest at once when it is 0.
inline void feed(Tm_bin_decoder_base& decoder, Bytes const& bytes, std::size_t piece, bool* all_consumed = nullptr) {
    bool consumed = true;
    if (piece == 0) piece = bytes.size();
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
        std::size_t const size = std::min(piece, bytes.size() - at);
        decoder.add_to_buffer(bytes.data() + at, static_cast<long>(size));
        consumed = decoder.decode();
    }
    if (all_consumed != nullptr) *all_consumed = consumed;
}

inline Decoded decode(Bytes const& bytes, std::size_t piece = 0) {
    Tm_bin_decoder decoder(piece == 0 ? static_cast<long>(bytes.size()) : 4096);
    bool consumed = true;
    feed(decoder, bytes, piece, &consumed);
    decoder.finalize();
    return {std::unique_ptr<Message>(decoder.release_msg()), decoder.error(), consumed};
}
