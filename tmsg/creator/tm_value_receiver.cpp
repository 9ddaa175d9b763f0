#include "tmsg/creator/tm_value_receiver.h"

#include "tmsg/composite/tm_make_value.h"
#include "tmsg/creator/nested_message_creator.h"
#include "tmsg/creator/tm_array_creator.h"
#include "tmsg/creator/tm_binary_creator.h"
#include "tmsg/creator/tm_file_creator.h"
#include "tmsg/creator/tm_string_creator.h"
#include "tmsg/creator/tm_struct_creator.h"

template <class Plain>
bool Tm_value_receiver::place(Plain value) {
    auto made = tm_make_value(value);
    destination().add(made);
    value_begun();
    return true;
}

template <class State, class... Arguments>
bool Tm_value_receiver::begin(Arguments&&... arguments) {
    descend<State>(destination(), std::forward<Arguments>(arguments)...);
    value_begun();
    return false;
}

// clang-format off
bool Tm_value_receiver::visit_bool(bool value) { return expects_value() ? place(value) : Tm_creator_state::visit_bool(value); }
bool Tm_value_receiver::visit_int8(signed char value) { return expects_value() ? place(value) : Tm_creator_state::visit_int8(value); }
bool Tm_value_receiver::visit_uint8(unsigned char value) { return expects_value() ? place(value) : Tm_creator_state::visit_uint8(value); }
bool Tm_value_receiver::visit_int16(short value) { return expects_value() ? place(value) : Tm_creator_state::visit_int16(value); }
bool Tm_value_receiver::visit_uint16(unsigned short value) { return expects_value() ? place(value) : Tm_creator_state::visit_uint16(value); }
bool Tm_value_receiver::visit_int32(int value) { return expects_value() ? place(value) : Tm_creator_state::visit_int32(value); }
bool Tm_value_receiver::visit_uint32(unsigned int value) { return expects_value() ? place(value) : Tm_creator_state::visit_uint32(value); }
bool Tm_value_receiver::visit_int64(long value) { return expects_value() ? place(value) : Tm_creator_state::visit_int64(value); }
bool Tm_value_receiver::visit_uint64(unsigned long value) { return expects_value() ? place(value) : Tm_creator_state::visit_uint64(value); }
bool Tm_value_receiver::visit_double(double value) { return expects_value() ? place(value) : Tm_creator_state::visit_double(value); }
// clang-format on

bool Tm_value_receiver::visit_string_begin(unsigned int length) {
    if (!expects_value()) return Tm_creator_state::visit_string_begin(length);
    return begin<Tm_string_creator>(length);
}

bool Tm_value_receiver::visit_binary_begin(unsigned int length) {
    if (!expects_value()) return Tm_creator_state::visit_binary_begin(length);
    return begin<Tm_binary_creator>(length);
}

bool Tm_value_receiver::visit_file_begin(unsigned int length) {
    if (!expects_value()) return Tm_creator_state::visit_file_begin(length);
    return begin<Tm_file_creator>(length, context_->received_files);
}

bool Tm_value_receiver::visit_struct_begin() {
    if (!expects_value()) return Tm_creator_state::visit_struct_begin();
    return begin<Tm_struct_creator>(context_);
}

bool Tm_value_receiver::visit_array_begin() {
    if (!expects_value()) return Tm_creator_state::visit_array_begin();
    return begin<Tm_array_creator>(context_);
}

bool Tm_value_receiver::visit_method_begin(bool is_request) {
    if (!expects_value()) return Tm_creator_state::visit_method_begin(is_request);
    return begin<Nested_message_creator>(is_request, context_->received_files);
}
