/// List text to values: an error or values, the same each time, and printable.
#include "received_files.h"
#include "target.h"

namespace {

/// The error, or the first value as list text.
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
    remove_files(decoder.received_files());
    return decoder.error().empty() ? outcome : decoder.error();
}

/// Temporary files are numbered: their names differ each time.
bool names_a_file(std::string const& outcome) {
    return outcome.find("/tmp/zab_tmp_") != std::string::npos;
}

}  // namespace

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const text(reinterpret_cast<char const*>(data), size);
    Tm_tcl_decoder decoder;
    std::string const first = decoded(decoder, text);
    Tm_tcl_decoder other;
    FUZZ_CHECK(names_a_file(first) || decoded(other, text) == first);
    try {
        Message const message = Message::from_string(text);
        FUZZ_CHECK(decoder.error().empty());
        remove_files_of(message);
    } catch (std::exception const&) {
        // No message, or an error that was seen above.
    }
    return 0;
}
