#include "tmsg/creator/tm_creator_state.h"

#include <utility>

Tm_creator_state::Tm_creator_state() = default;

Tm_creator_state::~Tm_creator_state() = default;

bool Tm_creator_state::fail(std::string text) {
    error_ = std::move(text);
    return false;
}

bool Tm_creator_state::reject(char const* event) {
    return fail(std::string("unexpected ") + event + " in " + get_name());
}

bool Tm_creator_state::support_member_with_index() const { return false; }

// clang-format off
bool Tm_creator_state::visit_method_begin(bool is_request) { return reject(is_request ? "method call begin" : "method response begin"); }
bool Tm_creator_state::visit_method_end(bool is_request) { return reject(is_request ? "method call end" : "method response end"); }
bool Tm_creator_state::visit_fault_begin() { return reject("fault begin"); }
bool Tm_creator_state::visit_fault_end() { return reject("fault end"); }
bool Tm_creator_state::visit_method_name_begin(unsigned int) { return reject("method name begin"); }
bool Tm_creator_state::visit_method_name_continue(char const*, unsigned int) { return reject("method name continue"); }
bool Tm_creator_state::visit_bool(bool) { return reject("bool"); }
bool Tm_creator_state::visit_int8(signed char) { return reject("int8"); }
bool Tm_creator_state::visit_uint8(unsigned char) { return reject("uint8"); }
bool Tm_creator_state::visit_int16(short) { return reject("int16"); }
bool Tm_creator_state::visit_uint16(unsigned short) { return reject("uint16"); }
bool Tm_creator_state::visit_int32(int) { return reject("int32"); }
bool Tm_creator_state::visit_uint32(unsigned int) { return reject("uint32"); }
bool Tm_creator_state::visit_int64(long) { return reject("int64"); }
bool Tm_creator_state::visit_uint64(unsigned long) { return reject("uint64"); }
bool Tm_creator_state::visit_double(double) { return reject("double"); }
bool Tm_creator_state::visit_string_begin(unsigned int) { return reject("string begin"); }
bool Tm_creator_state::visit_string_continue(char const*, unsigned int) { return reject("string continue"); }
bool Tm_creator_state::visit_binary_begin(unsigned int) { return reject("binary begin"); }
bool Tm_creator_state::visit_binary_continue(char const*, unsigned int) { return reject("binary continue"); }
bool Tm_creator_state::visit_struct_begin() { return reject("struct begin"); }
bool Tm_creator_state::visit_struct_end() { return reject("struct end"); }
bool Tm_creator_state::visit_member_begin(unsigned int) { return reject("member begin"); }
bool Tm_creator_state::visit_member_continue(char const*, unsigned int) { return reject("member continue"); }
bool Tm_creator_state::visit_member_end() { return reject("member end"); }
bool Tm_creator_state::visit_array_begin() { return reject("array begin"); }
bool Tm_creator_state::visit_array_end() { return reject("array end"); }
bool Tm_creator_state::visit_file_begin(unsigned int) { return reject("file begin"); }
bool Tm_creator_state::visit_file_continue(char const*, unsigned int) { return reject("file continue"); }
bool Tm_creator_state::visit_member_begin_with_index(unsigned short) { return reject("member begin with index"); }
bool Tm_creator_state::visit_member_continue_with_index(unsigned short) { return reject("member continue with index"); }
// clang-format on
