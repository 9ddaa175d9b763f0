// Uses the library beside another class called Message, which is in this program or in another
// library. Neither class takes a call, a virtual function or an exception of the other one.
#include <cstdio>
#include <memory>
#include <string>

#include "tmsg/tmsg.h"

char const* fault_of_theirs();
[[noreturn]] void throw_theirs();

namespace {

char const* fault_of_ours() {
    Message message;
    if (message.get_msg_type() != Message::TMT_RESPONSE) return "our constructor is another one";
    message.set_msg_type(Message::TMT_REQUEST);
    message.set_request_name("shop.order");
    message.add_member(Message::TMG_BODY, "count", 3);
    std::unique_ptr<Tm_value> const copy(message.clone());
    auto const* const copied = dynamic_cast<Message const*>(copy.get());
    if (copied == nullptr || !copied->equals(message)) return "our clone() is another one";
    // Here the library makes a message, and calls its virtual functions.
    auto const decoded = tm_from_bytes(tm_to_bytes(message));
    if (*decoded != message) return "the library makes other messages";
    try {
        message.get_member_int64(Message::TMG_BODY, "count");
        return "no exception";
    } catch (Tm_type_mismatch_exception const&) {}
    return nullptr;
}

bool is_theirs_caught_as_ours() {
    try {
        throw_theirs();
    } catch (Message const&) { return true; } catch (...) {
        return false;
    }
}

}  // namespace

int main() {
    int failed = 0;
    for (char const* const fault : {fault_of_ours(), fault_of_theirs(), fault_of_ours()}) {
        if (fault == nullptr) continue;
        std::puts(fault);
        failed = 1;
    }
    if (is_theirs_caught_as_ours()) return std::puts("their exception is caught as ours"), 1;
    return failed;
}
