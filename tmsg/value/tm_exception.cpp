#include "tmsg/value/tm_exception.h"

#include <cstdio>
#include <utility>

#include "tmsg/value/tm_path.h"
#include "tmsg/value/tm_value.h"

namespace {

std::string mismatch(char const* actual, char const* requested) {
    return std::string("value of type ") + actual + " accessed as type " + requested;
}

}  // namespace

Tm_exception::Tm_exception() = default;

Tm_exception::Tm_exception(std::string const& text) : message_(text) {}

Tm_exception::~Tm_exception() = default;

char const* Tm_exception::what() const noexcept { return message_.c_str(); }

/// Adds the name, or the position if that is not negative. Leaves the path as it was when there is
/// no memory.
void Tm_exception::add_before(std::string_view name, int position) noexcept {
    try {
        std::string step;
        position < 0 ? tm_append_name(step, name) : tm_append_position(step, position);
        bool const is_name_next = !path_.empty() && path_.front() != '[';
        path_ = std::move(step) + (is_name_next ? "." : "") + path_;
    } catch (std::exception const&) {
        return;
    }
}

void Tm_exception::add_name_before(std::string_view name) noexcept { add_before(name, -1); }

void Tm_exception::add_position_before(int position) noexcept { add_before({}, position); }

void Tm_exception::add_path_to_text() noexcept {
    try {
        message_ = path_ + ": " + message_;
    } catch (std::exception const&) {
        return;
    }
}

Tm_out_of_range_exception::Tm_out_of_range_exception(char const* label, int value, int low,
                                                     int high) {
    construct(label, value, low, high);
}

Tm_out_of_range_exception::Tm_out_of_range_exception(std::string const& text)
    : Tm_exception(text) {}

Tm_out_of_range_exception::Tm_out_of_range_exception(int value, int low, int high) {
    construct("index", value, low, high);
}

void Tm_out_of_range_exception::construct(char const* label, int value, int low, int high) {
    char suffix[64];
    std::snprintf(suffix, sizeof suffix, " %d out of range %d..%d", value, low, high);
    message_ = label;
    message_ += suffix;
}

Tm_type_mismatch_exception::Tm_type_mismatch_exception(TMV actual, TMV requested)
    : Tm_exception(mismatch(Tm_value::tmv_to_string(actual), Tm_value::tmv_to_string(requested))) {}

Tm_type_mismatch_exception::Tm_type_mismatch_exception(Tm_message_kind::TMT actual,
                                                       Tm_message_kind::TMT requested)
    : Tm_exception(mismatch(Tm_message_kind::tmt_to_string(actual),
                            Tm_message_kind::tmt_to_string(requested))) {}

Tm_name_not_found_exception::Tm_name_not_found_exception(std::string const& name)
    : Tm_exception(name + " not found in struct") {}

Tm_enum_not_found_exception::Tm_enum_not_found_exception(char const* name, char const* example)
    : Tm_exception(std::string(name) + " not a valid enum name") {
    if (example != nullptr) message_ += std::string(": an example is ") + example;
}

Tm_enum_not_found_exception::Tm_enum_not_found_exception(int value, char const* first_name)
    : Tm_exception(std::to_string(value) + " not a valid enum value") {
    if (first_name != nullptr) message_ += std::string(": for enum starting with ") + first_name;
}

Tm_file_open_exception::Tm_file_open_exception(std::string const& path)
    : Tm_exception("failed to open " + path) {}

Tm_file_mapping_exception::Tm_file_mapping_exception(std::string const& path)
    : Tm_exception("failed to map " + path) {}

Tm_file_read_exception::Tm_file_read_exception(std::string const& path)
    : Tm_exception("failed to read from " + path) {}
