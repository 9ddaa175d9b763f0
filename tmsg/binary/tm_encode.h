/// Encodes a whole value or message in one call.
///
///     std::vector<unsigned char> bytes;
///     tm_encode_into(bytes, message);
///
///     tm_encode(message, [&](unsigned char const* data, std::size_t size) {
///         return write(data, size);
///     });
///
/// Both write the binary wire form, and throw for names that it cannot carry. Tm_chunk_sender adds
/// chunk headers. tm_encode_pieces() drives an encoder of the caller, also one for XML:
///
///     Tm_xml_file_size_encoder encoder(65536);
///     tm_encode_pieces(message, encoder, [&](char const* data, std::size_t size, bool) {
///         text.append(data, size);
///         return true;
///     });
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>

#include "tmsg/export.h"
#include "tmsg/value/tm_value.h"

/// Walks the value through a Tm_bin_encoder or a Tm_xml_encoder, which the caller owns.
/// Calls `ship(data, size, is_last)` with each piece. The data is valid during the call. Every
/// piece but the last has the encoder's chunk size. When `ship` returns false, stops and returns
/// false. Throws what the encoder and `ship` throw. The value must not change meanwhile.
template <class Encoder, class Ship>
bool tm_encode_pieces(Tm_value const& value, Encoder& encoder, Ship ship) {
    encoder.begin_fill();
    bool is_walked = false;
    for (bool has_room = true, is_last = false; !is_last; has_room = encoder.continue_fill()) {
        if (has_room && !is_walked) is_walked = value.accept(encoder);
        int const size = std::min(encoder.fill_position(), encoder.chunk_size());
        is_last = is_walked && size == encoder.fill_position();
        if (!ship(encoder.data(), static_cast<std::size_t>(size), is_last)) return false;
    }
    encoder.begin_fill();
    return true;
}

/// Takes the next bytes, which are valid during the call. Returns false to stop.
using Tm_byte_sink = std::function<bool(unsigned char const* data, std::size_t size)>;

/// Passes the wire form to the sink in pieces of `piece_size` bytes. The last piece may be shorter.
/// Returns false when the sink returned false.
/// Throws Tm_out_of_range_exception, before the first piece, for a method or member name over
/// 65,535 bytes and for a piece size below 1. Throws Tm_file_read_exception when a file cannot be
/// read or has become shorter.
TMSG_API bool tm_encode(Tm_value const& value, Tm_byte_sink const& sink, int piece_size = 1 << 14);

/// Appends the wire form to a std::string, a vector of bytes or the like. Throws what tm_encode()
/// throws; the buffer is then as before.
template <class Bytes>
void tm_encode_into(Bytes& bytes, Tm_value const& value) {
    auto const before = bytes.size();
    try {
        tm_encode(value, [&](unsigned char const* data, std::size_t size) {
            bytes.insert(bytes.end(), data, data + size);
            return true;
        });
    } catch (...) {
        bytes.resize(before);
        throw;
    }
}
