/// What the fuzz targets share. Each defines LLVMFuzzerTestOneInput() and ends the process when
/// something does not hold.
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

#define FUZZ_CHECK(condition) \
    ((condition) ? static_cast<void>(0) : fuzz_fail(#condition, __FILE__, __LINE__))

[[noreturn]] inline void fuzz_fail(char const* condition, char const* file, int line) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

/// The input as a source of small numbers; its end gives zeros.
class Fuzz_input {
public:
    Fuzz_input(std::uint8_t const* data, std::size_t size) : data_(data), size_(size) {}

    bool empty() const { return size_ == 0; }
    unsigned int byte() {
        if (size_ == 0) return 0;
        --size_;
        return *data_++;
    }
    /// 0 to `end` - 1.
    unsigned int below(unsigned int end) { return byte() % end; }
    std::uint8_t const* data() const { return data_; }
    std::size_t size() const { return size_; }

private:
    std::uint8_t const* data_;
    std::size_t size_;
};

inline void remove_files(std::vector<std::string> const& paths) {
    for (std::string const& path : paths) ::unlink(path.c_str());
}

/// What came of a message, whatever it was fed in.
struct Fuzz_result {
    std::unique_ptr<Message> message;
    std::string error;
    std::vector<std::string> files;
};

/// Decodes the wire form, cut into pieces whose sizes `next_piece(left)` chooses.
template <class Next_piece>
Fuzz_result decode_pieces(std::uint8_t const* data, std::size_t size, Next_piece next_piece) {
    Tm_bin_decoder decoder(static_cast<long>(size));
    std::string thrown;
    try {
        for (std::size_t at = 0; at < size;) {
            std::size_t const piece = next_piece(size - at);
            FUZZ_CHECK(decoder.add_to_buffer(data + at, static_cast<long>(piece)));
            decoder.decode();
            at += piece;
        }
    } catch (std::exception const& failure) {
        FUZZ_CHECK(decoder.error() == failure.what());
    }
    decoder.finalize();
    Fuzz_result result;
    result.error = decoder.error();
    result.files = decoder.received_files();
    result.message.reset(decoder.release_msg());
    return result;
}

inline Fuzz_result decode_whole(std::uint8_t const* data, std::size_t size) {
    return decode_pieces(data, size, [](std::size_t left) { return left; });
}

/// The wire form, in chunks of that size.
inline std::vector<std::uint8_t> encode(Tm_value const& value, int chunk_size) {
    std::vector<std::uint8_t> bytes;
    Tm_bin_encoder encoder(chunk_size);
    auto const ship = [&](int size) {
        bytes.insert(bytes.end(), encoder.data(), encoder.data() + size);
    };
    while (!value.accept(encoder)) {
        do ship(chunk_size);
        while (!encoder.continue_fill());
    }
    ship(encoder.fill_position());
    return bytes;
}
