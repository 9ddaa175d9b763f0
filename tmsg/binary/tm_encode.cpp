#include "tmsg/binary/tm_encode.h"

#include <typeinfo>

#include "tmsg/binary/internal/tm_name_lengths.h"
#include "tmsg/binary/internal/tm_whole_file_encoder.h"
#include "tmsg/value/tm_exception.h"

Tm_whole_file_encoder::Tm_whole_file_encoder(int chunk_size, int header_size)
    : Tm_bin_encoder(chunk_size, header_size) {
    // Files of which only the descriptor is known are never written by others.
    take_wire_room(typeid(Tm_whole_file_encoder));
}

bool Tm_whole_file_encoder::visit_file_continue(int fd, std::string const& path,
                                                unsigned int length) {
    int const before = fill_position();
    if (!Tm_bin_encoder::visit_file_continue(fd, path, length)) return false;
    bool const is_whole = fill_position() - before == static_cast<int>(length);
    if (!is_whole) throw Tm_file_read_exception(path);
    return true;
}

bool tm_encode(Tm_value const& value, Tm_byte_sink const& sink, int piece_size) {
    tm_check_name_lengths(value);
    Tm_whole_file_encoder encoder(piece_size);
    auto const ship = [&](unsigned char const* data, std::size_t size, bool) {
        return sink(data, size);
    };
    return tm_encode_pieces(value, encoder, ship);
}
