/// Values and messages encoded to their end.
///
///     std::vector<unsigned char> bytes;
///     tm_encode_into(bytes, message);
///
///     tm_encode(message, [&](unsigned char const* data, std::size_t size) {
///         return write(data, size);
///     });
///
/// Both give the binary wire form and refuse what it cannot carry. With headers, Tm_chunk_sender
/// does the same. tm_encode_pieces() drives an encoder of the caller's own, for XML too:
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

/// Walks the value through an encoder that works in pieces, a Tm_bin_encoder or a Tm_xml_encoder,
/// from begin_fill() on until all is shipped. `ship(data, size, is_last)` takes each piece, which
/// is valid during the call; all but the last have the encoder's chunk size. False from it stops,
/// and is returned. What the encoder or `ship` throws passes. The value must not change meanwhile.
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

/// Takes the next bytes, which are valid during the call. False stops.
using Tm_byte_sink = std::function<bool(unsigned char const* data, std::size_t size)>;

/// Writes the wire form in pieces of that size, the last one shorter. False: the sink has stopped
/// it. Throws, before the first piece, Tm_out_of_range_exception for a method or member name over
/// 65,535 bytes and for a size below 1; Tm_file_read_exception when a file cannot be read or has
/// become shorter.
TMSG_API bool tm_encode(Tm_value const& value, Tm_byte_sink const& sink, int piece_size = 1 << 14);

/// Appends the wire form to a std::string, a vector of bytes or the like, and throws what
/// tm_encode() throws; the buffer is as before then.
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
