/// Decodes the input as list text. Checks that the result is the same each time, and that values
/// can be printed.
#include "target.h"

namespace {

/// Returns the error text, or the first value as list text.
std::string decoded(Tm_tcl_decoder& decoder, std::string const& text) {
    std::string outcome;
    try {
        decoder.decode(text);
        if (!decoder.error().empty()) {
            FUZZ_CHECK(decoder.get_value() == nullptr);
        } else if (decoder.values()->get_member_count() > 0) {
            Tm_tcl_encoder encoder;
            decoder.get_value()->accept(encoder);
            outcome = encoder.get_string();
        }
    } catch (std::exception const& failure) {
        FUZZ_CHECK(decoder.error() == failure.what());
    }
    tm_remove_received_files(decoder.received_files());
    return decoder.error().empty() ? outcome : decoder.error();
}

/// Returns whether the text names a received file. Such a name is different each time, because
/// received files are numbered.
bool names_a_file(std::string const& outcome) {
    return outcome.find("/tmp/zab_tmp_") != std::string::npos;
}

/// Checks that a second decoder reads the same, and that Message::from_string() accepts only text
/// that it accepts.
void check_again(std::string const& text, std::string const& first) {
    Tm_tcl_decoder other;
    FUZZ_CHECK(names_a_file(first) || decoded(other, text) == first);
    try {
        Message const message = Message::from_string(text);
        FUZZ_CHECK(other.error().empty());
        tm_remove_received_files(message);
    } catch (std::exception const&) {
        // The text is no message, or it has an error that was checked above.
    }
}

}  // namespace

void run_target(Fuzz_input input) {
    static Tm_tcl_decoder decoder;
    std::string const text(reinterpret_cast<char const*>(input.data()), input.size());
    std::string const first = decoded(decoder, text);
    if (is_thorough()) check_again(text, first);
    decoder.init();
}
