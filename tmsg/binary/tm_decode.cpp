#include "tmsg/binary/tm_decode.h"

#include <exception>
#include <new>

#include "tmsg/binary/tm_bin_decoder_base.h"

bool tm_feed(Tm_bin_decoder_base& decoder, unsigned char const* data, std::size_t size) {
    try {
        decoder.feed(data, size);
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const&) {
        // The decoder has made its text the error.
    }
    return decoder.error().empty();
}
