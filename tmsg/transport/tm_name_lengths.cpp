#include "tmsg/transport/tm_name_lengths.h"

#include "tmsg/message/message.h"
#include "tmsg/value/tm_exception.h"

namespace {

void check(std::size_t length) {
    if (length > Tm_string::MAX_LENGTH) {
        throw Tm_out_of_range_exception("String length", static_cast<int>(length), 0,
                                        static_cast<int>(Tm_string::MAX_LENGTH));
    }
}

void check_value(Tm_value const* value);

void check_struct(Tm_struct const& names) {
    int const count = names.get_member_count();
    for (int i = 0; i < count; ++i) {
        check(names.get_member_name_length(i));
        check_value(names.get_value(i));
    }
}

void check_array(Tm_array const& array) {
    int const count = array.get_member_count();
    for (int i = 0; i < count; ++i) check_value(array.get_value(i));
}

void check_value(Tm_value const* value) {
    if (value == nullptr) return;
    switch (value->get_value_type()) {
        case TMV_STRUCT:
            check_struct(static_cast<Tm_struct const&>(*value));
            break;
        case TMV_ARRAY:
            check_array(static_cast<Tm_array const&>(*value));
            break;
        case TMV_MESSAGE:
            tm_check_name_lengths(static_cast<Message const&>(*value));
            break;
        default:
            break;
    }
}

}  // namespace

void tm_check_name_lengths(Message const& message) {
    if (message.get_msg_type() == Message::TMT_REQUEST) check(message.get_request_name().size());
    check_struct(message.get_const_struct(Message::TMG_META));
    check_struct(message.get_const_struct(Message::TMG_BODY));
}
