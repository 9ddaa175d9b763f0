#include "theirs.h"

#include <memory>

Message::Message() : type_(77) {}
Message::Message(Message const& other) : type_(other.type_ + 1) {}
Message::~Message() = default;
int Message::get_msg_type() const { return type_; }
Message* Message::clone() const { return new Message(*this); }
bool Message::has_fault() const { return type_ == 78; }

char const* fault_of_theirs() {
    Message const message;
    if (message.get_msg_type() != 77) return "their constructor or getter is another one";
    std::unique_ptr<Message> const copy(message.clone());
    if (!copy->has_fault()) return "their clone() is another one";
    try {
        throw_theirs();
    } catch (Message const& caught) { return caught.get_msg_type() >= 77 ? nullptr : "their exception is another one"; }
}

void throw_theirs() { throw Message(); }
