/// The decimal text of a number. It does not depend on the locale of the process, and needs no
/// memory from the heap:
///
///     output.append(std::string_view(Tm_decimal(250)));
#pragma once

#include <charconv>
#include <cstddef>
#include <string_view>

class Tm_decimal {
public:
    /// Writes an integer of any width as printf does with %d or %u.
    template <class Whole>
    explicit Tm_decimal(Whole value)
        : size_(length_of(std::to_chars(text_, text_ + sizeof text_, value))) {}
    /// Writes a double with six digits, as printf does with %g in the C locale.
    explicit Tm_decimal(double value)
        : size_(length_of(std::to_chars(text_, text_ + sizeof text_, value,
                                        std::chars_format::general, printf_precision))) {}

    /// Returns the text, which is valid as long as this object lives.
    operator std::string_view() const { return {text_, size_}; }

private:
    static constexpr int printf_precision = 6;

    std::size_t length_of(std::to_chars_result result) const {
        return static_cast<std::size_t>(result.ptr - text_);
    }

    char text_[32];
    std::size_t size_;
};
