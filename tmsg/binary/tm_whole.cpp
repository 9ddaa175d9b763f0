#include "tmsg/binary/tm_whole.h"

#include <exception>
#include <new>

#include "tmsg/binary/internal/tm_sendable.h"
#include "tmsg/binary/tm_bin_decoder_base.h"

bool tm_encode(Tm_value const& value, Tm_byte_sink const& sink, int piece_size) {
    tm_check_name_lengths(value);
    Tm_whole_file_encoder encoder(piece_size);
    auto const ship = [&](unsigned char const* data, std::size_t size, bool) {
        return sink(data, size);
    };
    return tm_encode_pieces(value, encoder, ship);
}

bool tm_feed(Tm_bin_decoder_base& decoder, unsigned char const* data, std::size_t size) {
    try {
        decoder.feed(data, size);
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const&) {
        // The decoder has made the text of the exception its error text.
    }
    return decoder.error().empty();
}
