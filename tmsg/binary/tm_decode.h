/// Input of any length into a decoder, with every failure told.
///
///     Tm_bin_decoder decoder(4096);
///     tm_decode(decoder, bytes);  // throws unless this is one message
///     use(std::unique_ptr<Message>(decoder.release_msg()));
///
/// Where the input comes in pieces, its end is told by finalize():
///
///     while (std::size_t const size = read_some(data)) {
///         if (!tm_feed(decoder, data, size)) return report(decoder.error());
///     }
///     decoder.finalize();
///     if (!decoder.error().empty()) return report(decoder.error());
#pragma once

#include <cstddef>
#include <string_view>

#include "tmsg/export.h"
#include "tmsg/message/tm_children.h"
#include "tmsg/value/tm_exception.h"

class Tm_bin_decoder_base;

/// Decodes the next bytes as far as they go. False: the decoder has failed, now or before, and its
/// error() tells why. What the decoder throws is such an error, too; only std::bad_alloc passes.
TMSG_API bool tm_feed(Tm_bin_decoder_base& decoder, unsigned char const* data, std::size_t size);

/// Decodes the whole input of a Tm_bin_decoder or a Tm_bin_array_decoder that has had none since
/// init(). Input that is bad or incomplete throws Tm_exception with the decoder's error text. When
/// this throws, the files are removed that the input brought.
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
