/// The parts that all fuzz targets share. Each target defines run_target(). A check that fails ends
/// the process.
#pragma once

#include <tmsg/tmsg.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

/// Makes every check run on every input, as the environment variable FUZZ_EVERY_CHECK does. Call it
/// before the first input.
void run_every_check();

/// Returns whether check `number` of `count` checks must run on the current input. Each input gets
/// one of the checks, which its bytes choose.
bool gets_check(unsigned int number, unsigned int count);

/// Returns true for one input in 16. Such an input gets the checks that take far longer than the
/// others.
inline bool is_thorough() { return gets_check(0, 16); }

#define FUZZ_CHECK(condition) \
    ((condition) ? static_cast<void>(0) : fuzz_fail(#condition, __FILE__, __LINE__))

[[noreturn]] inline void fuzz_fail(char const* condition, char const* file, int line) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

/// Reads the input as small numbers. After its end it returns zeros.
class Fuzz_input {
public:
    Fuzz_input(std::uint8_t const* data, std::size_t size) : data_(data), size_(size) {}

    bool empty() const { return size_ == 0; }
    unsigned int byte() {
        if (size_ == 0) return 0;
        --size_;
        return *data_++;
    }
    /// Returns a number from 0 to `end` - 1.
    unsigned int below(unsigned int end) { return byte() % end; }
    void skip(std::size_t count) {
        data_ += count;
        size_ -= count;
    }
    std::uint8_t const* data() const { return data_; }
    std::size_t size() const { return size_; }

private:
    std::uint8_t const* data_;
    std::size_t size_;
};

/// Runs the target on an input. Removes the files that it received.
void run_target(Fuzz_input input);

/// Feeds the input in pieces whose sizes `next_piece(left)` chooses.
template <class Next_piece>
void feed_pieces(Tm_bin_decoder_base& decoder, Fuzz_input input, Next_piece next_piece) {
    try {
        while (!input.empty()) {
            std::size_t const piece = next_piece(input.size());
            FUZZ_CHECK(decoder.add_to_buffer(input.data(), static_cast<long>(piece)));
            decoder.decode();
            input.skip(piece);
        }
    } catch (std::exception const& failure) {
        FUZZ_CHECK(decoder.error() == failure.what());
    }
    decoder.finalize();
}

/// No input has so many bytes.
constexpr long most_input = 1 << 20;

/// Feeds the input without a copy, so that a sanitizer sees each read after its end.
inline void feed_whole(Tm_bin_decoder_base& decoder, Fuzz_input input) {
    try {
        decoder.feed(input.data(), input.size());
    } catch (std::exception const& failure) {
        FUZZ_CHECK(decoder.error() == failure.what());
    }
    decoder.finalize();
}

inline std::size_t whole_piece(std::size_t left) { return left; }

/// The result of decoding an input.
struct Fuzz_result {
    std::unique_ptr<Message> message;
    std::string error;
    std::vector<std::string> files;
};

/// Decodes the input in pieces. The capacity of the decoder is the size of the input.
template <class Next_piece>
Fuzz_result decode_pieces(Fuzz_input input, Next_piece next_piece, Tm_limits const& limits = {}) {
    Tm_bin_decoder decoder(static_cast<long>(input.size()), limits);
    feed_pieces(decoder, input, next_piece);
    Fuzz_result result;
    result.error = decoder.error();
    result.files = decoder.received_files();
    result.message.reset(decoder.release_msg());
    return result;
}

inline Fuzz_result decode_whole(Fuzz_input input) { return decode_pieces(input, whole_piece); }

inline Fuzz_result decode_whole(std::vector<std::uint8_t> const& bytes) {
    return decode_whole(Fuzz_input(bytes.data(), bytes.size()));
}

/// Returns all events as text, and after them the error text.
template <class Next_piece>
std::string dump_pieces(Fuzz_input input, Next_piece next_piece, Tm_limits const& limits = {}) {
    char* text = nullptr;
    std::size_t length = 0;
    FILE* const stream = ::open_memstream(&text, &length);
    std::string error;
    {
        Tm_bin_decoder_to_text decoder(static_cast<long>(input.size()), stream, limits);
        feed_pieces(decoder, input, next_piece);
        error = decoder.error();
    }
    std::fclose(stream);
    std::string const dumped(text, length);
    std::free(text);
    return dumped + error;
}

/// Returns the wire form, encoded in chunks of that size.
inline std::vector<std::uint8_t> encode(Tm_value const& value, int chunk_size) {
    std::vector<std::uint8_t> bytes;
    Tm_bin_encoder encoder(chunk_size);
    tm_encode_pieces(value, encoder, [&](unsigned char const* data, std::size_t piece, bool) {
        bytes.insert(bytes.end(), data, data + piece);
        return true;
    });
    return bytes;
}
