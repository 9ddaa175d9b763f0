/// Bytes to a message; what was decoded is copied, compared and destroyed.
#include "target.h"

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Fuzz_result const whole = decode_whole(data, size);
    if (whole.error.empty()) {
        Message const copy(*whole.message);
        FUZZ_CHECK(encode(copy, 64) == encode(*whole.message, 1000));
        FUZZ_CHECK(copy.get_msg_type() == whole.message->get_msg_type());
    }
    remove_files(whole.files);

    Tm_limits limits;
    limits.max_depth = 4;
    limits.max_message_bytes = 100;
    limits.max_file_bytes = 10;
    Tm_bin_array_decoder values(64, limits);
    Tm_message_peek_decoder peek(data, static_cast<long>(size));
    if (peek.complete()) FUZZ_CHECK(peek.decode());
    try {
        for (std::size_t at = 0; at < size; ++at) {
            values.add_to_buffer(data + at, 1);
            values.decode();
        }
    } catch (std::exception const& failure) {
        FUZZ_CHECK(values.error() == failure.what());
    }
    values.finalize();
    return 0;
}
