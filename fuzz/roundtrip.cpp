/// Checks that each message that decodes also encodes, to bytes that decode to the same message.
/// Checks that it prints in every form.
#include <string_view>

#include "target.h"

namespace {

std::string xml(Message const& message, int piece_size) {
    Tm_xml_file_size_encoder encoder(piece_size);
    std::string text;
    while (!message.accept(encoder)) {
        do text.append(encoder.data(), static_cast<std::size_t>(piece_size));
        while (!encoder.continue_fill());
    }
    return text.append(encoder.data(), static_cast<std::size_t>(encoder.fill()));
}

void print_json(Message const& message, unsigned int limit) {
    Tm_json_encoder json(limit);
    FUZZ_CHECK(message.accept(json));
}

void print_xml(Message const& message, unsigned int limit) {
    FUZZ_CHECK(xml(message, 1 + static_cast<int>(limit % 1000)) == xml(message, 1 << 20));
}

void print_list(Message const& message, unsigned int limit) {
    Tm_tcl_encoder list(limit);
    bool const is_whole = message.accept(list);
    std::string const snipped = "...SNIPPED...";
    std::string const& text = list.get_string();
    bool const ends_snipped =
        text.size() >= snipped.size() &&
        text.compare(text.size() - snipped.size(), snipped.size(), snipped) == 0;
    FUZZ_CHECK(is_whole || ends_snipped);

    Tm_tcl_decoder decoder;
    try {
        decoder.decode(text);
    } catch (std::exception const& failure) {
        FUZZ_CHECK(decoder.error() == failure.what());
    }
    tm_remove_received_files(decoder.received_files());
}

/// Returns whether a request has no name. Such a request decodes, but it is sent with an empty
/// name, which no receiver accepts.
bool has_request_without_name(Tm_value const& value) {
    if (value.get_value_type() == TMV_MESSAGE) {
        auto const& message = static_cast<Message const&>(value);
        bool const is_request = message.get_msg_type() == Message::TMT_REQUEST;
        if (is_request && message.get_request_name().empty()) return true;
    }
    bool found = false;
    tm_for_each_child(
        value, [&](Tm_value const& child) { found = found || has_request_without_name(child); });
    return found;
}

/// Returns whether encoding must give the bytes of the input again. Several forms decode to the
/// same bool, to the same fault or to the same name table. Any other item has one form.
bool is_canonical(Fuzz_input input) {
    std::string_view const bytes(reinterpret_cast<char const*>(input.data()), input.size());
    return bytes.find('\x03') == bytes.npos && bytes.find('\x0C') == bytes.npos &&
           bytes.find("catalog") == bytes.npos;
}

bool can_be_sent_on(Message& received) {
    return !has_request_without_name(received) && received.restore_member_indexes();
}

/// Checks that encoded bytes decode, and that the decoded message encodes to the same bytes.
void check_again(std::vector<std::uint8_t> const& bytes) {
    Fuzz_result const result = decode_whole(bytes);
    FUZZ_CHECK(result.error.empty());
    FUZZ_CHECK(result.message->restore_member_indexes());
    FUZZ_CHECK(encode(*result.message, 1000) == bytes);
    FUZZ_CHECK(!dump_pieces(Fuzz_input(bytes.data(), bytes.size()), whole_piece).empty());
    tm_remove_received_files(result.files);
}

}  // namespace

void run_target(Fuzz_input input) {
    static Tm_bin_decoder decoder(most_input);
    unsigned int const limit = input.byte() * 8;
    feed_whole(decoder, input);
    if (decoder.error().empty() && can_be_sent_on(*decoder.message())) {
        auto const bytes = encode(*decoder.message(), 1 + static_cast<int>(limit));
        std::vector<std::uint8_t> const sent(input.data(), input.data() + input.size());
        FUZZ_CHECK(!is_canonical(input) || bytes == sent);
        if (gets_check(0, 3)) print_json(*decoder.message(), limit);
        if (gets_check(1, 3)) print_xml(*decoder.message(), limit);
        if (gets_check(2, 3)) print_list(*decoder.message(), limit);
        if (is_thorough()) check_again(bytes);
    }
    tm_remove_received_files(decoder.received_files());
    decoder.init();
}
