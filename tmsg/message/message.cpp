#include "tmsg/message/message.h"

#include <cstring>
#include <utility>

#include "tmsg/value/internal/tm_walk.h"
#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_string.h"

namespace {

char const fault_code[] = "faultCode";
char const fault_string[] = "faultString";

}  // namespace

Message const* tm_as_message(Tm_value const* member) { return static_cast<Message const*>(member); }

Message::Message() : groups_{Tm_struct(Tm_shared_names()), Tm_struct(Tm_shared_names())} {}

Message::Message(Tm_catalog<std::string>*) : groups_{Tm_struct(nullptr), Tm_struct(nullptr)} {}

Message::Message(Message const& other)
    : Tm_value(other),
      Tm_message_kind(other),
      Tm_member_getters(other),
      type_(other.type_),
      request_name_(other.request_name_),
      message_set_name_(other.message_set_name_),
      method_name_(other.method_name_),
      groups_{Tm_struct(other.groups_[0]), Tm_struct(other.groups_[1])},
      use_send_names_(other.use_send_names_),
      send_names_(other.send_names_) {}

Message& Message::operator=(Message const& other) {
    if (this == &other) return *this;
    Message copy(other);
    copy.header = other.header;
    take(copy);
    return *this;
}

Message::Message(Message&& other) noexcept
    : Tm_value(other),
      Tm_message_kind(other),
      Tm_member_getters(other),
      groups_{empty_like(other.groups_[0]), empty_like(other.groups_[1])} {
    take(other);
}

/// The content moves twice, because this message may contain `other`.
Message& Message::operator=(Message&& other) noexcept {
    if (this == &other) return *this;
    Message taken(std::move(other));
    take(taken);
    return *this;
}

Tm_struct Message::empty_like(Tm_struct const& group) {
    return group.is_string_catalog_from_internal() ? Tm_struct(nullptr)
                                                   : Tm_struct(Tm_shared_names());
}

/// `other` must not be in this message.
void Message::take(Message& other) noexcept {
    type_ = std::exchange(other.type_, TMT_RESPONSE);
    request_name_ = std::exchange(other.request_name_, {});
    message_set_name_ = std::exchange(other.message_set_name_, {});
    method_name_ = std::exchange(other.method_name_, {});
    for (int group : {TMG_META, TMG_BODY}) groups_[group] = std::move(other.groups_[group]);
    use_send_names_ = std::exchange(other.use_send_names_, false);
    Tm_catalog<std::string> no_names;
    send_names_.swap(no_names);
    send_names_.swap(other.send_names_);
    header = std::exchange(other.header, Tm_header());
}

Message Message::request(Tm_name name) {
    Message made;
    made.set_msg_type(TMT_REQUEST);
    made.set_request_name(name);
    return made;
}

Message Message::response() { return Message(); }

Message Message::fault(int code, std::string_view text) {
    Message made;
    made.set_msg_type(TMT_FAULT);
    made.add_member(TMG_BODY, fault_code, code);
    made.add_member(TMG_BODY, fault_string, text);
    return made;
}

Message* Message::clone() const { return new Message(*this); }

Message::~Message() = default;

bool Message::equals(Tm_value const& other) const {
    return other.get_value_type() == TMV_MESSAGE && *this == static_cast<Message const&>(other);
}

TMV Message::get_value_type() const { return TMV_MESSAGE; }

bool Message::accept(Tm_visitor& visitor) const {
    bool const is_request = type_ == TMT_REQUEST;
    bool const is_fault = type_ == TMT_FAULT;
    auto const send_name = [&] {
        return tm_walk_buffer<&Tm_visitor::visit_method_name_begin,
                              &Tm_visitor::visit_method_name_continue>(
            request_name_.data(), static_cast<unsigned int>(request_name_.size()), visitor);
    };

    Tm_walk walk(visitor);
    return walk.step(0, [&] { return visitor.visit_method_begin(is_request); }) &&
           walk.step(1, [&] { return !is_fault || visitor.visit_fault_begin(); }) &&
           walk.step(2, [&] { return !is_request || send_name(); }) &&
           walk.step(3, [&] { return groups_[TMG_META].accept(visitor); }) &&
           walk.step(4, [&] { return groups_[TMG_BODY].accept(visitor); }) &&
           walk.step(5, [&] { return !is_fault || visitor.visit_fault_end(); }) &&
           walk.step(6, [&] { return visitor.visit_method_end(is_request); });
}

void Message::set_request_name(Tm_name name) {
    std::size_t const dot = name.find('.');
    std::string full(name);
    std::string set(name.substr(0, dot));
    method_name_ = dot == std::string_view::npos ? name : name.substr(dot + 1);
    message_set_name_ = std::move(set);
    request_name_ = std::move(full);
}

void Message::fix_message_name() {
    std::size_t const hash = message_set_name_.find('#');
    if (hash == std::string::npos) return;
    request_name_ = message_set_name_.substr(0, hash) + "." + method_name_;
}

int Message::get_member_count(TMG group) const {
    return get_const_struct(group).get_member_count();
}

TMV Message::get_member_value_type(TMG group, int i) const {
    return get_const_struct(group).get_member_value_type(i);
}

char const* Message::get_member_name(TMG group, int i) const {
    return get_const_struct(group).get_member_name(i);
}

Tm_struct& Message::get_struct(TMG group) {
    return const_cast<Tm_struct&>(std::as_const(*this).get_const_struct(group));
}

Tm_struct const& Message::get_const_struct(TMG group) const {
    if (group != TMG_META && group != TMG_BODY) {
        throw Tm_out_of_range_exception("tmg", group, TMG_META, TMG_BODY);
    }
    return groups_[group];
}

void Message::clear(TMG group) { get_struct(group).clear(); }

void Message::check_is_fault() const {
    if (type_ != TMT_FAULT) throw Tm_type_mismatch_exception(type_, TMT_FAULT);
}

void Message::set_fault_member(char const* name, Tm_new_value value, char const* other,
                               TMV other_type) {
    Tm_struct& body = groups_[TMG_BODY];
    if (body.get_member_index(name) < 0) return body.place(name, std::move(value), nullptr);
    Tm_struct rest(body.shares_names_ != 0 ? Tm_struct(shared_names_) : Tm_struct(nullptr));
    int const position = body.get_member_index(other);
    auto const checked_other = [&](Tm_struct const& members) {
        return members.get_member_value(other_type, position);
    };
    if (position >= 0) rest.add_member(other, in_group(TMG_BODY, checked_other));
    rest.place(name, std::move(value), nullptr);
    body.swap(rest);
    body.hint_ = 0;
}

void Message::set_fault_code(int code) {
    check_is_fault();
    set_fault_member(fault_code, Tm_new_value(code), fault_string, TMV_STRING);
}

void Message::set_fault_string(char const* text) {
    check_is_fault();
    set_fault_member(fault_string, Tm_new_value(text), fault_code, TMV_INT32);
}

int Message::get_fault_code() const {
    check_is_fault();
    int const position = groups_[TMG_BODY].get_member_index(fault_code);
    return position < 0 ? -1 : get_member_int32(TMG_BODY, position);
}

std::string Message::get_fault_string() const {
    check_is_fault();
    int const position = groups_[TMG_BODY].get_member_index(fault_string);
    if (position < 0) return {};
    return std::string(get_member_text(TMG_BODY, position));
}

void Message::get_context(message_context* context) const {
    if (context != nullptr) std::memcpy(context, header.record().bytes, sizeof(TM_HEADER));
}

std::unique_ptr<Message> Message::take_content() {
    auto taken = is_clone() ? std::make_unique<Message>(nullptr) : std::make_unique<Message>();
    taken->swap(*this);
    return taken;
}

void Message::swap(Message& other) {
    if (is_clone() != other.is_clone()) {
        throw Tm_exception("swap does not support swapping messages with different type");
    }
    std::swap(type_, other.type_);
    request_name_.swap(other.request_name_);
    message_set_name_.swap(other.message_set_name_);
    method_name_.swap(other.method_name_);
    groups_[TMG_META].swap(other.groups_[TMG_META]);
    groups_[TMG_BODY].swap(other.groups_[TMG_BODY]);
    std::swap(use_send_names_, other.use_send_names_);
    send_names_.swap(other.send_names_);
    header.swap(other.header);
}

bool operator==(Message const& left, Message const& right) {
    if (left.get_msg_type() != right.get_msg_type()) return false;
    if (left.get_msg_type() == Message::TMT_REQUEST &&
        left.get_request_name() != right.get_request_name()) {
        return false;
    }
    return left.get_const_struct(Message::TMG_META)
               .equals(right.get_const_struct(Message::TMG_META)) &&
           left.get_const_struct(Message::TMG_BODY)
               .equals(right.get_const_struct(Message::TMG_BODY));
}

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

void Message::add_file(TMG group, Tm_name name, std::string const& path) {
    add_member(group, name, path, 0U);
}

void Message::add_member(TMG group, Tm_name name, long long value) {
    add(group, name, static_cast<long>(value));
}

void Message::add_member(TMG group, Tm_name name, unsigned long long value) {
    add(group, name, static_cast<unsigned long>(value));
}

int Message::set_member(TMG group, std::string_view name, unsigned char const* data,
                        unsigned int length) {
    return get_struct(group).set(name, Tm_new_value(data, length), get_send_member_string(group));
}

int Message::set_member_and_own(TMG group, std::string_view name, Tm_value* value) {
    return set_member(group, name, std::unique_ptr<Tm_value>(value));
}

void Message::replace_value(TMG group, int i, std::unique_ptr<Tm_value> value) {
    get_struct(group).replace_value(i, std::move(value));
}

std::unique_ptr<Tm_value> Message::take_member(TMG group, int i) {
    return get_struct(group).take_member(i);
}

void Message::remove_member(TMG group, int i) { get_struct(group).remove_member(i); }

bool Message::remove_member(TMG group, std::string_view name) {
    return get_struct(group).remove_member(name);
}

void Message::rename_member(TMG group, int i, std::string_view name) {
    get_struct(group).rename_member(i, name);
}
