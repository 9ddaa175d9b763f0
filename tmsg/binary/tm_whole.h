/// Encodes or decodes a whole value or message in one call.
///
///     std::string bytes = tm_to_bytes(message);
///     std::unique_ptr<Message> same = tm_from_bytes(bytes);  // throws unless it is one message
///
/// The functions below do the same for values, for other containers of bytes, in pieces and with
/// an encoder or a decoder of the caller.
///
///     std::vector<unsigned char> bytes;
///     tm_encode_into(bytes, value);
///
///     tm_encode(message, [&](unsigned char const* data, std::size_t size) {
///         return write(data, size);
///     });
///
/// tm_encode_into() and tm_encode() write the wire form, and throw for names that are too long for
/// it. Tm_chunk_sender adds chunk headers. tm_encode_pieces() uses an encoder of the caller, which
/// may be one for XML:
///
///     Tm_xml_file_size_encoder encoder(65536);
///     tm_encode_pieces(message, encoder, [&](char const* data, std::size_t size, bool) {
///         text.append(data, size);
///         return true;
///     });
///
/// tm_decode() decodes input that is in memory as a whole:
///
///     std::string const input = read_all();
///     Tm_bin_decoder decoder(4096);
///     tm_decode(decoder, input);  // throws unless this is one message
///     use(std::unique_ptr<Message>(decoder.release_msg()));
///
/// tm_feed() decodes input that comes in pieces. finalize() then checks that it is complete:
///
///     while (std::size_t const size = read_some(data)) {
///         if (!tm_feed(decoder, data, size)) return report(decoder.error());
///     }
///     decoder.finalize();
///     if (!decoder.error().empty()) return report(decoder.error());
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "tmsg/export.h"
#include "tmsg/fwd.h"
#include "tmsg/message/tm_children.h"
#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_limits.h"
#include "tmsg/value/tm_value.h"

class Tm_bin_decoder_base;

/// Both write the wire form of the message. If its name table or a wire index is wrong, they write
/// a corrected copy, as Tm_chunk_source does. They throw what tm_encode() and copying throw.
/// tm_append_bytes() then leaves `out` as before.
TMSG_API std::string tm_to_bytes(Message const& message);
TMSG_API void tm_append_bytes(std::string& out, Message const& message);

/// Returns the number of bytes that tm_to_bytes() returns, and throws the same exceptions. Does not
/// read large files.
TMSG_API std::size_t tm_encoded_size(Message const& message);

/// Decodes one message. Throws Tm_exception with the error text of Tm_bin_decoder for all other
/// bytes, also when bytes come after the message, and std::bad_alloc. Before it throws, removes the
/// files that the message brought.
TMSG_API std::unique_ptr<Message> tm_from_bytes(std::string_view bytes,
                                                Tm_limits const& limits = {});

/// Encodes the value with a Tm_bin_encoder or a Tm_xml_encoder, which the caller owns.
/// Calls `ship(data, size, is_last)` with each piece. The data is valid during the call. Every
/// piece but the last has the chunk size of the encoder. When `ship` returns false, stops and
/// returns false. Throws what the encoder and `ship` throw. The value must not change meanwhile.
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
/// Before the first piece, throws Tm_out_of_range_exception for a method or member name longer than
/// 65,535 bytes and for a piece size below 1. Throws Tm_file_read_exception when a file cannot be
/// read or has become shorter, and what the sink throws.
TMSG_API bool tm_encode(Tm_value const& value, Tm_byte_sink const& sink, int piece_size = 1 << 14);

/// Appends the wire form to a std::string, a vector of bytes or the like. Throws what tm_encode()
/// throws, and then leaves `bytes` as before.
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

/// Decodes the next bytes. Returns false when the decoder has an error text, from this call or an
/// earlier one. An exception of the decoder becomes its error text. Throws only std::bad_alloc.
TMSG_API bool tm_feed(Tm_bin_decoder_base& decoder, unsigned char const* data, std::size_t size);

/// Decodes a whole input with a Tm_bin_decoder or a Tm_bin_array_decoder, which must be new or must
/// have had no input since init(). Throws Tm_exception with the error text of the decoder for input
/// that is bad or incomplete, and std::bad_alloc. Before it throws, removes the files that the
/// input brought.
template <class Decoder>
void tm_decode(Decoder& decoder, std::string_view bytes) {
    try {
        tm_feed(decoder, reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size());
        decoder.finalize();
        if (!decoder.error().empty()) throw Tm_exception(decoder.error());
    } catch (...) {
        tm_remove_received_files(decoder.received_files());
        throw;
    }
}
