// A user's program: a value class of its own, a message there and back, and a caught exception.
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "tmsg/tmsg.h"

namespace {

/// A user's date travels as its text.
class Month : public Tm_date {
public:
    Month(int year, int month) : Tm_date(year, month, 1, 0, 0, 0) {}

    Month* clone() const override { return new Month(*this); }
    TMV get_value_type() const override { return TMV_DATE; }
    bool equals(Tm_value const& other) const override {
        auto const* const month = dynamic_cast<Month const*>(&other);
        return month != nullptr && month->text() == text();
    }
    bool accept(Tm_visitor& visitor) const override { return Tm_string(text()).accept(visitor); }

    std::string text() const {
        std::string const year = std::to_string(get_year());
        return year + '/' + std::to_string(get_month());
    }
};

std::unique_ptr<Message> there_and_back(Message const& message) {
    std::unique_ptr<Message> arrived;
    Tm_chunk_receiver receiver(
        [&](std::unique_ptr<Message> whole, int, Tm_header const&) { arrived = std::move(whole); },
        [](int, unsigned int, std::string const& text) { std::puts(text.c_str()); });
    Tm_chunk_sender(16).send(message, 1, 0, [&](unsigned char const* chunk, std::size_t size) {
        receiver.receive(0, chunk, size);
        return true;
    });
    return arrived;
}

bool is_caught_by_its_type(Message const& message) {
    try {
        message.get_member_int64(Message::TMG_BODY, "count");
    } catch (Tm_type_mismatch_exception const& error) {
        return std::string("value of type int32_t accessed as type int64_t") == error.what();
    }
    return false;
}

}  // namespace

int main() {
    Message message;
    message.set_msg_type(Message::TMT_REQUEST);
    message.set_request_name("shop.order");
    message.add_member(Message::TMG_BODY, "count", 3);
    Tm_array names;
    for (char const* const name : {"apple", "pear"}) names.add_member(name);
    message.add_member(Message::TMG_BODY, "names", &names);
    auto const arrived = there_and_back(message);
    if (arrived == nullptr || *arrived != message) return std::puts("the message changed on its way"), 1;

    Month const month(2024, 2);
    message.add_member(Message::TMG_BODY, "month", &month);
    if (!month.equals(*message.get_const_struct(Message::TMG_BODY).get_value(2))) return std::puts("no copy"), 1;
    auto const dated = there_and_back(message);
    if (dated == nullptr) return 1;
    std::string const text = dated->get_member_string(Message::TMG_BODY, "month");
    if (text != "2024/2") return std::puts("the user's own value was lost"), 1;
    if (std::string(TMSG_VERSION) != tmsg_version()) return std::puts("another version"), 1;
    if (!is_caught_by_its_type(message)) return std::puts("the exception was not caught"), 1;
    return 0;
}
