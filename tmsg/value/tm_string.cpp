#include "tmsg/value/tm_string.h"

#include <cstring>
#include <new>

#include "tmsg/value/internal/tm_walk.h"
#include "tmsg/value/tm_exception.h"

namespace {

char const* new_text(std::string_view bytes) {
    char* const text = tm_begin_text(::operator new(tm_text_size(bytes.size())), bytes.size());
    if (!bytes.empty()) std::memcpy(text, bytes.data(), bytes.size());
    return text;
}

void delete_text(char const* text) { ::operator delete(const_cast<char*>(text) - tm_text_prefix); }

}  // namespace

void Tm_string::check_length(std::string_view text) {
    if (text.size() > MAX_LENGTH) {
        throw Tm_out_of_range_exception("String length", static_cast<int>(text.size()), 0,
                                        static_cast<int>(MAX_LENGTH));
    }
}

Tm_string::Tm_string(std::string_view text, Tm_catalog<std::string>* catalog) {
    check_length(text);
    if (catalog != nullptr) catalog->add(text);
    text_ = new_text(text);
}

Tm_string::Tm_string(Tm_string const& other) : Tm_value(other), text_(new_text(other.value())) {}

Tm_string::~Tm_string() { delete_text(text_); }

Tm_string* Tm_string::clone() const { return new Tm_string(*this); }

bool Tm_string::equals(Tm_value const& other) const {
    return other.get_value_type() == TMV_STRING &&
           tm_text_equals(text_, static_cast<Tm_string const&>(other).value());
}

TMV Tm_string::get_value_type() const { return TMV_STRING; }

bool Tm_string::accept(Tm_visitor& visitor) const {
    return tm_walk_buffer<&Tm_visitor::visit_string_begin, &Tm_visitor::visit_string_continue>(
        text_, tm_text_length(text_), visitor);
}

std::string const& Tm_string::validate_string_length(std::string const& text,
                                                     Tm_catalog<std::string>* catalog) {
    check_length(text);
    return catalog == nullptr ? text : catalog->add(text)->first;
}

bool Tm_string::accept_generic_buffer(char const* data, unsigned int length, Tm_visitor& visitor,
                                      Begin_event begin, Piece_event piece) {
    return tm_walk_memory(
        data, length, visitor, [&] { return (visitor.*begin)(length); },
        [&](char const* bytes, unsigned int size) { return (visitor.*piece)(bytes, size); });
}

bool Tm_string::accept_file(int fd, std::string const& path, unsigned int length,
                            Tm_visitor& visitor, File_begin_event begin, File_piece_event piece) {
    return tm_walk_bytes(
        length, visitor, [&] { return (visitor.*begin)(fd, length); },
        [](int index, int) { return index; },
        [&](unsigned int size) { return (visitor.*piece)(fd, path, size); });
}
