/// Decodes the same bytes whole and in pieces that the input chooses. Checks that message, error
/// and events are the same.
#include <algorithm>
#include <utility>

#include "target.h"

namespace {

/// Returns sizes of pieces that look random, but are always the same for one seed.
class Cuts {
public:
    Cuts(unsigned int seed, unsigned int largest) : state_(seed), largest_(largest + 1) {}

    std::size_t operator()(std::size_t left) {
        state_ = state_ * 1664525U + 1013904223U;
        return std::min<std::size_t>(left, 1 + (state_ >> 16) % largest_);
    }

private:
    unsigned int state_;
    unsigned int largest_;
};

/// Returns limits. For every second seed they are so low that short inputs reach them.
Tm_limits limits_of(unsigned int seed, unsigned int largest) {
    Tm_limits limits;
    if (seed % 2 == 1) {
        limits.max_depth = 1 + largest % 8;
        limits.max_message_bytes = seed * 2UL;
        limits.max_file_bytes = largest;
    }
    return limits;
}

void check_message(Fuzz_input input, Cuts const& cuts, Tm_limits const& limits) {
    Fuzz_result const whole = decode_pieces(input, whole_piece, limits);
    Fuzz_result const cut = decode_pieces(input, cuts, limits);
    FUZZ_CHECK(whole.error == cut.error);
    FUZZ_CHECK(whole.files.size() == cut.files.size());
    if (whole.error.empty()) {
        FUZZ_CHECK(encode(*whole.message, 100) == encode(*cut.message, 100));
    }
    tm_remove_received_files(whole.files);
    tm_remove_received_files(cut.files);
}

void check_dump(Fuzz_input input, Cuts const& cuts, Tm_limits const& limits) {
    FUZZ_CHECK(dump_pieces(input, whole_piece, limits) == dump_pieces(input, cuts, limits));
}

/// Returns the encoded values of an input of top-level values, and the error text. The values
/// before a fault are included.
template <class Next_piece>
std::pair<std::string, std::string> decode_values(Fuzz_input input, Next_piece next_piece,
                                                  Tm_limits const& limits, std::size_t capacity) {
    Tm_bin_array_decoder decoder(static_cast<long>(capacity), limits);
    feed_pieces(decoder, input, next_piece);
    auto const bytes = encode(*decoder.array(), 1000);
    tm_remove_received_files(decoder.received_files());
    return {std::string(bytes.begin(), bytes.end()), decoder.error()};
}

/// Returns the error text without its position. Positions count in the buffer, and a smaller buffer
/// is packed more often.
std::string without_position(std::string const& error) {
    return error.substr(0, error.find(" at byte "));
}

/// Decodes in a buffer that holds the whole input, and in one that is hardly larger than a piece.
/// Checks that values and error are the same.
void check_values(Fuzz_input input, Cuts const& cuts, Tm_limits const& limits) {
    constexpr std::size_t small = 256;
    auto const whole = decode_values(input, whole_piece, limits, input.size());
    auto const cut = decode_values(input, cuts, limits, input.size());
    auto const packed = decode_values(input, cuts, limits, small);
    FUZZ_CHECK(whole == cut);
    FUZZ_CHECK(whole.first == packed.first);
    FUZZ_CHECK(without_position(whole.second) == without_position(packed.second));
}

/// Returns the encoded messages of an input of messages in a row, and the error text.
template <class Next_piece>
std::pair<std::string, std::string> decode_row(Fuzz_input input, Next_piece next_piece,
                                               Tm_limits const& limits) {
    Tm_bin_decoder decoder(static_cast<long>(input.size()), limits);
    std::string messages;
    try {
        while (!input.empty()) {
            input.skip(decoder.feed_message(input.data(), next_piece(input.size())));
            if (!decoder.is_complete()) continue;
            decoder.finalize();
            FUZZ_CHECK(decoder.error().empty());
            auto const bytes = encode(*decoder.message(), 1000);
            messages.append(bytes.begin(), bytes.end());
            tm_remove_received_files(decoder.received_files());
            decoder.init();
        }
    } catch (std::exception const& failure) {
        FUZZ_CHECK(decoder.error() == failure.what());
    }
    tm_remove_received_files(decoder.received_files());
    return {messages, decoder.error()};
}

void check_row(Fuzz_input input, Cuts const& cuts, Tm_limits const& limits) {
    FUZZ_CHECK(decode_row(input, whole_piece, limits) == decode_row(input, cuts, limits));
}

}  // namespace

void run_target(Fuzz_input input) {
    unsigned int const seed = input.byte();
    unsigned int const largest = input.byte();
    Cuts const cuts(seed, largest);
    Tm_limits const limits = limits_of(seed, largest);

    if (gets_check(0, 4)) check_message(input, cuts, limits);
    if (gets_check(1, 4)) check_values(input, cuts, limits);
    if (gets_check(2, 4)) check_dump(input, cuts, limits);
    if (gets_check(3, 4)) check_row(input, cuts, limits);
}
