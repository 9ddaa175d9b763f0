#include "tmsg/binary/tm_whole.h"

#include <exception>
#include <new>

#include "tmsg/binary/internal/tm_sendable.h"
#include "tmsg/binary/tm_bin_decoder.h"
#include "tmsg/message/message.h"

namespace {

constexpr int usual_piece = 1 << 14;
constexpr long decoder_capacity = 4096;

/// Adds up the announced lengths of files instead of reading them. Mapped files come as bytes in
/// memory.
class Size_encoder : public Tm_bin_encoder {
public:
    Size_encoder() : Tm_bin_encoder(usual_piece) {
        // The overrides below are no operations on bytes in memory.
        take_wire_room(typeid(Size_encoder));
    }

    std::size_t file_bytes() const { return file_bytes_; }

    using Tm_bin_encoder::visit_file_begin;
    bool visit_file_begin(int, unsigned int length) override {
        if (!check_state()) return false;
        file_bytes_ += length;
        return Tm_bin_encoder::visit_file_begin(length);
    }
    using Tm_bin_encoder::visit_file_continue;
    bool visit_file_continue(int, std::string const&, unsigned int) override { return true; }

private:
    std::size_t file_bytes_ = 0;
};

}  // namespace

bool tm_encode(Tm_value const& value, Tm_byte_sink const& sink, int piece_size) {
    tm_check_name_lengths(value);
    Tm_whole_file_encoder encoder(piece_size);
    auto const ship = [&](unsigned char const* data, std::size_t size, bool) {
        return sink(data, size);
    };
    return tm_encode_pieces(value, encoder, ship);
}

std::string tm_to_bytes(Message const& message) {
    std::string bytes;
    tm_append_bytes(bytes, message);
    return bytes;
}

void tm_append_bytes(std::string& out, Message const& message) {
    auto const corrected = tm_corrected_copy(message);
    Tm_whole_file_encoder encoder(usual_piece);
    std::size_t const before = out.size();
    auto const append = [&](unsigned char const* data, std::size_t size, bool) {
        out.append(reinterpret_cast<char const*>(data), size);
        return true;
    };
    try {
        tm_encode_pieces(corrected != nullptr ? *corrected : message, encoder, append);
    } catch (...) {
        out.resize(before);
        throw;
    }
}

std::size_t tm_encoded_size(Message const& message) {
    auto const corrected = tm_corrected_copy(message);
    Size_encoder encoder;
    std::size_t size = 0;
    auto const count = [&](unsigned char const*, std::size_t piece, bool) {
        size += piece;
        return true;
    };
    tm_encode_pieces(corrected != nullptr ? *corrected : message, encoder, count);
    return size + encoder.file_bytes();
}

std::unique_ptr<Message> tm_from_bytes(std::string_view bytes, Tm_limits const& limits) {
    Tm_bin_decoder decoder(decoder_capacity, limits);
    tm_decode(decoder, bytes);
    return std::unique_ptr<Message>(decoder.release_msg());
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
