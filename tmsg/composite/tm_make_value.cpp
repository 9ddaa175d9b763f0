#include "tmsg/composite/tm_make_value.h"

#include "tmsg/value/tm_binary.h"
#include "tmsg/value/tm_file.h"
#include "tmsg/value/tm_string.h"

Tm_value_ptr tm_make_value(std::string_view text) { return Tm_value_ptr(new Tm_string(text)); }

Tm_value_ptr tm_make_value(unsigned char const* data, unsigned int length) {
    return Tm_value_ptr(new Tm_binary(length == 0 ? data : tm_present(data), length));
}

Tm_value_ptr tm_make_value(std::string const& path, unsigned int open_mode) {
    return Tm_value_ptr(new Tm_file(path, open_mode));
}

Tm_value_ptr tm_make_value(Tm_value const* value) {
    return Tm_value_ptr(tm_present(value)->clone());
}
