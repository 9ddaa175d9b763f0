#include "tmsg/binary/internal/tm_sendable.h"

#include "tmsg/message/message.h"
#include "tmsg/value/internal/tm_layout.h"
#include "tmsg/value/tm_exception.h"

namespace {

void check_length(std::size_t length) {
    if (length > Tm_string::MAX_LENGTH) {
        throw Tm_out_of_range_exception("String length", static_cast<int>(length), 0,
                                        static_cast<int>(Tm_string::MAX_LENGTH));
    }
}

}  // namespace

/// Looks only at names, and at values on the heap, because other values have no names.
struct Tm_name_lengths {
    static void check(Tm_value const& value) {
        switch (value.get_value_type()) {
            case TMV_STRUCT:
                return check_struct(static_cast<Tm_struct const&>(value));
            case TMV_ARRAY:
                return check_values(static_cast<Tm_array const&>(value).values_);
            case TMV_MESSAGE:
                return check_message(static_cast<Message const&>(value));
            default:
                return;
        }
    }

private:
    static void check_message(Message const& message) {
        bool const has_name = message.get_msg_type() == Message::TMT_REQUEST;
        if (has_name) check_length(message.get_request_name().size());
        check_struct(message.get_const_struct(Message::TMG_META));
        check_struct(message.get_const_struct(Message::TMG_BODY));
    }
    static void check_struct(Tm_struct const& members) {
        bool const are_short = members.is_plain() && members.layout_ &&
                               members.layout_->longest() <= Tm_string::MAX_LENGTH;
        int const count = are_short ? 0 : members.get_member_count();
        for (int i = 0; i < count; ++i) check_length(members.get_member_name_length(i));
        if (members.is_plain()) return check_values(members.values_);
        for (int i = 0; i < members.get_member_count(); ++i) {
            if (Tm_value const* const value = members.get_value(i)) check(*value);
        }
    }
    static void check_values(Tm_value_container const& values) {
        for (std::size_t i = 0; i < values.size_; ++i) {
            bool const is_on_heap = values.kinds()[i] >= tm_on_heap;
            Tm_value const* const value = is_on_heap ? values.at(i) : nullptr;
            if (value != nullptr) check(*value);
        }
    }
};

void tm_check_name_lengths(Tm_value const& value) { Tm_name_lengths::check(value); }

Tm_whole_file_encoder::Tm_whole_file_encoder(int chunk_size, int header_size)
    : Tm_bin_encoder(chunk_size, header_size) {
    // The override below is no operation on bytes in memory.
    take_wire_room(typeid(Tm_whole_file_encoder));
}

bool Tm_whole_file_encoder::visit_file_continue(int fd, std::string const& path,
                                                unsigned int length) {
    int const before = fill_position();
    if (!Tm_bin_encoder::visit_file_continue(fd, path, length)) return false;
    bool const is_whole = fill_position() - before == static_cast<int>(length);
    if (!is_whole) throw Tm_file_read_exception(path);
    return true;
}
