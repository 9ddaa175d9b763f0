/// The same bytes whole and in pieces that the input chooses: the same message, error and events.
#include <algorithm>

#include "target.h"

namespace {

template <class Next_piece>
std::string dump(Fuzz_input input, Next_piece next_piece) {
    char* text = nullptr;
    std::size_t length = 0;
    FILE* const stream = ::open_memstream(&text, &length);
    std::string error;
    {
        Tm_bin_decoder_to_text decoder(static_cast<long>(input.size()), stream);
        for (std::size_t at = 0; at < input.size();) {
            std::size_t const piece = next_piece(input.size() - at);
            decoder.add_to_buffer(input.data() + at, static_cast<long>(piece));
            decoder.decode();
            at += piece;
        }
        decoder.finalize();
        error = decoder.error();
    }
    std::fclose(stream);
    std::string const dumped(text, length);
    std::free(text);
    return dumped + error;
}

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

}  // namespace

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Fuzz_input input(data, size);
    unsigned int const seed = input.byte();
    unsigned int const largest = input.byte();
    auto const whole_piece = [](std::size_t left) { return left; };

    Fuzz_result const whole = decode_whole(input.data(), input.size());
    Fuzz_result const cut = decode_pieces(input.data(), input.size(), Cuts(seed, largest));
    FUZZ_CHECK(whole.error == cut.error);
    FUZZ_CHECK(whole.files.size() == cut.files.size());
    if (whole.error.empty()) {
        FUZZ_CHECK(encode(*whole.message, 100) == encode(*cut.message, 100));
    }
    FUZZ_CHECK(dump(input, whole_piece) == dump(input, Cuts(seed, largest)));
    remove_files(whole.files);
    remove_files(cut.files);
    return 0;
}
