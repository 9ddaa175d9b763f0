/// Bytes to a message; what was decoded is copied, compared and destroyed.
#include "received_files.h"
#include "target.h"

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Fuzz_input const input(data, size);
    Fuzz_result const whole = decode_whole(input);
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
    feed_pieces(values, input, [](std::size_t) { return std::size_t(1); });
    remove_files_of(*values.array());
    return 0;
}
