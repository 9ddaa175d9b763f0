#include "tmsg/value/tm_visitor.h"

#include <typeinfo>

Tm_visitor::~Tm_visitor() = default;

bool Tm_visitor::visit_file_begin(int, unsigned int length) { return visit_file_begin(length); }

bool Tm_visitor::visit_file_continue(int, std::string const&, unsigned int length) {
    return visit_file_continue(nullptr, length);
}

bool Tm_visitor::has_memento() { return false; }

int Tm_visitor::pop_memento() { return 0; }

void Tm_visitor::push_memento(int) {}

bool Tm_visitor::is_support_member_index() { return false; }

Tm_wire_room* Tm_visitor::wire_room() const {
    return wire_room_ != nullptr && &typeid(*this) == wire_class_ ? wire_room_ : nullptr;
}
