/// Decodes input of any length, with every failure as an error text or exception.
///
///     Tm_bin_decoder decoder(4096);
///     tm_decode(decoder, bytes);  // throws unless this is one message
///     use(std::unique_ptr<Message>(decoder.release_msg()));
///
/// When the input comes in pieces, finalize() tells the decoder its end:
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

/// Decodes the next bytes. Returns false when the decoder has failed, now or before; its error()
/// then has the reason. An exception of the decoder is such a failure, too. Throws only
/// std::bad_alloc.
TMSG_API bool tm_feed(Tm_bin_decoder_base& decoder, unsigned char const* data, std::size_t size);

/// Decodes the whole input with a Tm_bin_decoder or a Tm_bin_array_decoder, which must be new or
/// had no input since init(). Throws Tm_exception with the decoder's error text for input that is
/// bad or incomplete. When it throws, it first removes the files that the input brought.
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
