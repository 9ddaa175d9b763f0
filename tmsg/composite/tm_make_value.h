/// New values from plain data, one overload per kind of datum that add_member takes. A null pointer
/// throws Tm_exception.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tmsg/export.h"
#include "tmsg/value/tm_bool.h"
#include "tmsg/value/tm_double.h"
#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_int.h"
#include "tmsg/value/tm_plain.h"

using Tm_value_ptr = std::unique_ptr<Tm_value>;

/// The pointer, which is not null; else Tm_exception.
template <class T>
T* tm_present(T* pointer) {
    if (pointer == nullptr) throw Tm_exception("member without a value");
    return pointer;
}

template <class Plain, class Value = typename Tm_plain<Plain>::value>
Tm_value_ptr tm_make_value(Plain value) {
    return Tm_value_ptr(new Value(value));
}

TMSG_API Tm_value_ptr tm_make_value(std::string_view text);
TMSG_API Tm_value_ptr tm_make_value(unsigned char const* data, unsigned int length);
TMSG_API Tm_value_ptr tm_make_value(std::string const& path, unsigned int open_mode);
TMSG_API Tm_value_ptr tm_make_value(Tm_value const* value);
