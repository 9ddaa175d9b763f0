/// The same bytes whole and in pieces that the input chooses: the same message, error and events.
#include <algorithm>

#include "received_files.h"
#include "target.h"

namespace {

/// Sizes that look random and are always the same for one seed.
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

/// Every second seed has limits that short inputs reach.
Tm_limits limits_of(unsigned int seed, unsigned int largest) {
    Tm_limits limits;
    if (seed % 2 == 1) {
        limits.max_depth = 1 + largest % 8;
        limits.max_message_bytes = seed * 2UL;
        limits.max_file_bytes = largest;
    }
    return limits;
}

/// The values of an input that is no message, those before a fault included.
template <class Next_piece>
std::string decode_values(Fuzz_input input, Next_piece next_piece, Tm_limits const& limits) {
    Tm_bin_array_decoder decoder(static_cast<long>(input.size()), limits);
    feed_pieces(decoder, input, next_piece);
    auto const bytes = encode(*decoder.array(), 1000);
    remove_files_of(*decoder.array());
    return std::string(bytes.begin(), bytes.end()) + decoder.error();
}

}  // namespace

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Fuzz_input input(data, size);
    unsigned int const seed = input.byte();
    unsigned int const largest = input.byte();
    Cuts const cuts(seed, largest);
    Tm_limits const limits = limits_of(seed, largest);

    Fuzz_result const whole = decode_pieces(input, whole_piece, limits);
    Fuzz_result const cut = decode_pieces(input, cuts, limits);
    FUZZ_CHECK(whole.error == cut.error);
    FUZZ_CHECK(whole.files.size() == cut.files.size());
    if (whole.error.empty()) {
        FUZZ_CHECK(encode(*whole.message, 100) == encode(*cut.message, 100));
    }
    FUZZ_CHECK(decode_values(input, whole_piece, limits) == decode_values(input, cuts, limits));
    FUZZ_CHECK(dump_pieces(input, whole_piece, limits) == dump_pieces(input, cuts, limits));
    remove_files(whole.files);
    remove_files(cut.files);
    return 0;
}
