/// The text of a number, as printf writes it with %d, %u and %g in the C locale. The locale of the
/// process does not matter.
#pragma once

#include <charconv>
#include <cstddef>
#include <string_view>

class Tm_decimal {
public:
    template <class Whole>
    explicit Tm_decimal(Whole value)
        : size_(length_of(std::to_chars(text_, text_ + sizeof text_, value))) {}
    explicit Tm_decimal(double value)
        : size_(length_of(std::to_chars(text_, text_ + sizeof text_, value,
                                        std::chars_format::general, printf_precision))) {}

    /// The view is valid as long as this object lives.
    operator std::string_view() const { return {text_, size_}; }

private:
    static constexpr int printf_precision = 6;

    std::size_t length_of(std::to_chars_result result) const {
        return static_cast<std::size_t>(result.ptr - text_);
    }

    char text_[32];
    std::size_t size_;
};
