#include "tmsg/transport/tm_name_lengths.h"

#include "tmsg/message/message.h"
#include "tmsg/message/tm_children.h"
#include "tmsg/value/tm_exception.h"

namespace {

void check(std::size_t length) {
    if (length > Tm_string::MAX_LENGTH) {
        throw Tm_out_of_range_exception("String length", static_cast<int>(length), 0,
                                        static_cast<int>(Tm_string::MAX_LENGTH));
    }
}

void check_value(Tm_value const& value) {
    if (value.get_value_type() == TMV_STRUCT) {
        auto const& members = static_cast<Tm_struct const&>(value);
        int const count = members.get_member_count();
        for (int i = 0; i < count; ++i) check(members.get_member_name_length(i));
    } else if (value.get_value_type() == TMV_MESSAGE) {
        auto const& message = static_cast<Message const&>(value);
        bool const has_name = message.get_msg_type() == Message::TMT_REQUEST;
        if (has_name) check(message.get_request_name().size());
    }
    tm_for_each_child(value, check_value);
}

}  // namespace

void tm_check_name_lengths(Message const& message) { check_value(message); }
