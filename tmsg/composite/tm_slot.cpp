#include "tmsg/composite/tm_slot.h"

#include <typeinfo>

#include "tmsg/composite/tm_struct.h"
#include "tmsg/value/tm_binary.h"
#include "tmsg/value/tm_file.h"

Tm_new_value::Tm_new_value(std::string_view text) : kind_(UNKEPT) {
    static_assert(sizeof(std::string_view) <= sizeof(Tm_slot));
    Tm_string::check_length(text);
    ::new (slot_.bytes) std::string_view(text);
}

Tm_new_value::Tm_new_value(unsigned char const* data, unsigned int length)
    : Tm_new_value(Owned(new Tm_binary(length == 0 ? data : tm_present(data), length))) {}

Tm_new_value::Tm_new_value(std::string const& path, unsigned int open_mode)
    : Tm_new_value(Owned(new Tm_file(path, open_mode))) {}

Tm_new_value::Tm_new_value(std::unique_ptr<Tm_value> value) noexcept
    : Tm_new_value(std::move(value), tm_no_value) {
    Tm_value const* const stored = slot_.on_heap();
    if (stored == nullptr) return;
    kind_ = typeid(*stored) == typeid(Tm_struct) ? tm_plain_struct : tm_on_heap;
}

std::unique_ptr<Tm_value> Tm_new_value::release() {
    if (kind_ == UNKEPT) return std::make_unique<Tm_string>(text());
    if (kind_ < tm_on_heap) return Owned(slot_.in_place<Tm_value>()->clone());
    bool const is_empty = std::exchange(kind_, tm_no_value) == tm_no_value;
    return Owned(is_empty ? nullptr : slot_.on_heap());
}
