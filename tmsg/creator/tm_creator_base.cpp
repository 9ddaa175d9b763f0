#include "tmsg/creator/tm_creator_base.h"

#include <string>
#include <utility>

Tm_creator_base::Tm_creator_base() = default;

Tm_creator_base::~Tm_creator_base() = default;

bool Tm_creator_base::visit_member_begin_with_index(unsigned short) { return false; }

bool Tm_creator_base::visit_member_continue_with_index(unsigned short) { return false; }

Tm_creator_state::Tm_creator_state() = default;

Tm_creator_state::~Tm_creator_state() = default;

bool Tm_creator_state::fail(std::string text) {
    error_ = std::move(text);
    return false;
}

bool Tm_creator_state::reject(std::string const& event) {
    return fail("unexpected " + event + " in " + get_name());
}

bool Tm_creator_state::support_member_with_index() const { return false; }

namespace {

std::string name_of(Tm_bracket bracket) {
    // In the order of Tm_bracket.
    constexpr char const* names[] = {"method call", "method response", "fault",
                                     "struct",      "array",           "member"};
    return names[static_cast<int>(bracket)];
}

std::string name_of(Tm_bytes bytes) {
    // In the order of Tm_bytes.
    constexpr char const* names[] = {"method name", "member", "string", "binary", "file"};
    return names[static_cast<int>(bytes)];
}

}  // namespace

bool Tm_creator_state::reject_value(TMV type) {
    // In the order of the type codes.
    constexpr char const* names[] = {"int8",   "uint8", "int16",  "uint16", "int32",
                                     "uint32", "int64", "uint64", "double", "bool"};
    return reject(names[type]);
}

bool Tm_creator_state::open(Tm_bracket bracket) { return reject(name_of(bracket) + " begin"); }
bool Tm_creator_state::close(Tm_bracket bracket) { return reject(name_of(bracket) + " end"); }

bool Tm_creator_state::begin(Tm_bytes bytes, unsigned int) {
    return reject(name_of(bytes) + " begin");
}

bool Tm_creator_state::piece(Tm_bytes bytes, char const*, unsigned int) {
    return reject(name_of(bytes) + " continue");
}

bool Tm_creator_state::visit_member_begin_with_index(unsigned short) {
    return reject("member begin with index");
}

bool Tm_creator_state::visit_member_continue_with_index(unsigned short) {
    return reject("member continue with index");
}
