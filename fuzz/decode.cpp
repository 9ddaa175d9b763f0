/// Decodes the input to a message, then copies, compares and destroys the message. Checks that the
/// limits hold to the byte.
#include <algorithm>

#include "target.h"

namespace {

/// Returns the number of structs, arrays and messages that are open at the deepest value.
unsigned int depth_of(Tm_value const& value) {
    unsigned int below = 0;
    tm_for_each_child(value,
                      [&](Tm_value const& child) { below = std::max(below, depth_of(child)); });
    TMV const type = value.get_value_type();
    bool const is_group = type == TMV_STRUCT || type == TMV_ARRAY || type == TMV_MESSAGE;
    return below + (is_group ? 1 : 0);
}

unsigned int largest_file_of(Tm_value const& value) {
    unsigned int largest = 0;
    if (value.get_value_type() == TMV_FILE) largest = static_cast<Tm_file const&>(value).size();
    tm_for_each_child(
        value, [&](Tm_value const& child) { largest = std::max(largest, largest_file_of(child)); });
    return largest;
}

void check_copy(Message const& message) {
    std::unique_ptr<Message> const copy(message.clone());
    FUZZ_CHECK(encode(*copy, 64) == encode(message, 1000));
    FUZZ_CHECK(copy->get_msg_type() == message.get_msg_type());
}

/// Checks that decoding through the buffer of the decoder gives the same error text.
void check_buffered(Fuzz_input input, std::string const& error) {
    Fuzz_result const buffered = decode_whole(input);
    tm_remove_received_files(buffered.files);
    FUZZ_CHECK(buffered.error == error);
}

/// Returns whether the input decodes within these limits.
bool fits(Fuzz_input input, Tm_limits const& limits) {
    Fuzz_result const result = decode_pieces(input, whole_piece, limits);
    tm_remove_received_files(result.files);
    return result.error.empty();
}

/// Checks that a message decodes within limits that it just meets, and is refused when one of them
/// is lower by one.
void check_limits(Fuzz_input input, Message const& message) {
    Tm_limits exact;
    exact.max_depth = depth_of(message);
    exact.max_message_bytes = input.size();
    exact.max_file_bytes = largest_file_of(message);
    FUZZ_CHECK(fits(input, exact));
    Tm_limits less = exact;
    --less.max_depth;
    FUZZ_CHECK(!fits(input, less));
    less = exact;
    --less.max_message_bytes;
    FUZZ_CHECK(!fits(input, less));
    less = exact;
    if (less.max_file_bytes-- > 0) FUZZ_CHECK(!fits(input, less));
}

}  // namespace

void run_target(Fuzz_input input) {
    static Tm_bin_decoder decoder(most_input);
    feed_whole(decoder, input);
    if (is_thorough()) {
        check_buffered(input, decoder.error());
        if (decoder.error().empty()) {
            check_copy(*decoder.message());
            check_limits(input, *decoder.message());
        }
    }
    tm_remove_received_files(decoder.received_files());
    decoder.init();

    Tm_message_peek_decoder peek(input.data(), static_cast<long>(input.size()));
    if (peek.complete()) FUZZ_CHECK(peek.decode());
}
