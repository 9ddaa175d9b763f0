/// The add_member column of Message: every overload hands its datum to the group's struct.
#include "tmsg/message/message.h"

template <class... Datum>
void Message::add(TMG group, Tm_name name, Datum const&... datum) {
    get_struct(group).add_member(name, datum..., get_send_member_string(group));
}

// clang-format off
void Message::add_member(TMG group, Tm_name name, signed char value) { add(group, name, value); }
void Message::add_member(TMG group, Tm_name name, unsigned char value) { add(group, name, value); }
void Message::add_member(TMG group, Tm_name name, short value) { add(group, name, value); }
void Message::add_member(TMG group, Tm_name name, unsigned short value) { add(group, name, value); }
void Message::add_member(TMG group, Tm_name name, int value) { add(group, name, value); }
void Message::add_member(TMG group, Tm_name name, unsigned int value) { add(group, name, value); }
void Message::add_member(TMG group, Tm_name name, long value) { add(group, name, value); }
void Message::add_member(TMG group, Tm_name name, unsigned long value) { add(group, name, value); }
void Message::add_member(TMG group, Tm_name name, double value) { add(group, name, value); }
void Message::add_member(TMG group, Tm_name name, bool value) { add(group, name, value); }
void Message::add_member(TMG group, Tm_name name, char const* text) { add(group, name, text); }
void Message::add_member(TMG group, Tm_name name, std::string const& text) { add(group, name, text); }
void Message::add_member(TMG group, Tm_name name, std::string_view text) { add(group, name, text); }
void Message::add_member(TMG group, Tm_name name, Tm_binary const* bytes) { add(group, name, bytes); }
void Message::add_member(TMG group, Tm_name name, Tm_value const* value) { add(group, name, value); }
// clang-format on

void Message::add_member(TMG group, Tm_name name, unsigned char const* data, unsigned int length) {
    add(group, name, data, length);
}

void Message::add_member(TMG group, Tm_name name, std::string const& path, unsigned int open_mode) {
    add(group, name, path, open_mode);
}

void Message::add_member_and_own(TMG group, Tm_name name, Tm_value* value) {
    std::unique_ptr<Tm_value> owned(value);
    Tm_struct& target = get_struct(group);
    target.add_member_and_own(name, owned.release(), get_send_member_string(group));
}
