/// A plug-in that uses the library.
#include <tmsg/tmsg.h>

namespace {

std::unique_ptr<Message> deliver(Message const& message) {
    std::unique_ptr<Message> received;
    Tm_chunk_receiver receiver([&](auto got, int, Tm_header const&) { received = std::move(got); }, {});
    auto const pass_on = [&](auto... bytes) { return receiver.receive(1, bytes...), true; };
    Tm_chunk_sender(50).send(message, 1, 0, pass_on, Tm_chunk_sender::Names::by_index);
    return received;
}

bool is_refused(std::string const& text) {
    try {
        Message::from_string(text);
        return false;
    } catch (Tm_exception const&) { return true; }
}

/// A message that does not arrive completely.
bool receives_file() {
    unsigned char const begun[] = {0x15, 0, 0, 0, 5, '1', '2'};
    Tm_bin_array_decoder decoder(4096);
    decoder.feed(begun, sizeof begun);
    return decoder.error().empty();
}

}  // namespace

extern "C" __attribute__((visibility("default"))) bool use_library() {
    Message const message = Message::from_string(
        R"(response {struct {} struct {list {array {struct {a {bool true} b {bool true}} struct {a {bool true}}}})"
        R"( number {double 2.5}}})");
    std::unique_ptr<Message> const received = deliver(message);
    received->restore_member_indexes();
    Tm_tcl_encoder text;
    Tm_json_encoder json;
    return received->get_member_double(Message::TMG_BODY, "number") == 2.5 && message.accept(text) &&
           message.accept(json) && Message::from_string(text.get_string()) == message && is_refused("nothing") &&
           receives_file() &&
           std::string(uint96_to_string({18446744073709551615U, 4294967295U})) == "4294967295:18446744073709551615";
}
