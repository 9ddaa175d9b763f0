#include "tmsg/value/tm_string.h"

#include <utility>

#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_walk.h"

namespace {

void check_length(std::string const& text) {
    if (text.size() > Tm_string::MAX_LENGTH) {
        throw Tm_out_of_range_exception("String length", static_cast<int>(text.size()), 0,
                                        static_cast<int>(Tm_string::MAX_LENGTH));
    }
}

}  // namespace

Tm_string::Tm_string(std::string const& text, Tm_catalog<std::string>* catalog)
    : text_(validate_string_length(text, catalog)) {}

Tm_string::Tm_string(std::string&& text) {
    check_length(text);
    text_ = std::move(text);
}

Tm_string::~Tm_string() = default;

Tm_string* Tm_string::clone() const { return new Tm_string(*this); }

bool Tm_string::equals(Tm_value const& other) const {
    return other.get_value_type() == TMV_STRING &&
           static_cast<Tm_string const&>(other).text_ == text_;
}

TMV Tm_string::get_value_type() const { return TMV_STRING; }

bool Tm_string::accept(Tm_visitor& visitor) const {
    return tm_walk_buffer<&Tm_visitor::visit_string_begin, &Tm_visitor::visit_string_continue>(
        text_.data(), static_cast<unsigned int>(text_.size()), visitor);
}

std::string const& Tm_string::validate_string_length(std::string const& text,
                                                     Tm_catalog<std::string>* catalog) {
    check_length(text);
    return catalog == nullptr ? text : catalog->add(text)->first;
}

bool Tm_string::accept_generic_buffer(char const* data, unsigned int length, Tm_visitor& visitor,
                                      Begin_event begin, Piece_event piece) {
    return tm_walk_bytes(
        length, visitor, [&] { return (visitor.*begin)(length); },
        [&](unsigned int offset, unsigned int size) {
            return (visitor.*piece)(data + offset, size);
        });
}

bool Tm_string::accept_file(int fd, std::string const& path, unsigned int length,
                            Tm_visitor& visitor, File_begin_event begin, File_piece_event piece) {
    return tm_walk_bytes(
        length, visitor, [&] { return (visitor.*begin)(fd, length); },
        [&](unsigned int, unsigned int size) { return (visitor.*piece)(fd, path, size); });
}
