#include "tmsg/text/internal/tm_six_digits.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int digit_count = 6;
constexpr int max_size = 13;  // "-1.23457e-308"

/// The powers that a double represents exactly.
constexpr double powers_of_ten[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                    1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                    1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
/// The range of numbers that one of these powers scales to six digits before the point.
constexpr double smallest = 1e-16;
constexpr double largest = 1e26;

int binary_exponent(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return static_cast<int>(bits >> 52 & 0x7FF) - 1023;
}

/// `exponent` is the decimal exponent of the value. Returns a number from 100,000 to 1,000,000,
/// which was rounded only once.
double to_six_digits(double value, int exponent) {
    int const power = digit_count - 1 - exponent;
    return power >= 0 ? value * powers_of_ten[power] : value / powers_of_ten[-power];
}

struct Decimal {
    int digits;    ///< six
    int exponent;  ///< of the first digit
};

/// Returns false when arithmetic with doubles cannot determine the digits of this number.
bool round(double value, Decimal& decimal) {
    constexpr double end = 1e6;
    constexpr double uncertain = 1e-9;  // to_six_digits() is wrong by less than 2 to the -34
    if (!(value >= smallest && value <= largest)) return false;

    int exponent = (binary_exponent(value) * 1233) >> 12;  // log10(2) is 1233 / 4096 and a little
    double number = to_six_digits(value, exponent);
    if (number >= end) number = to_six_digits(value, ++exponent);
    int digits = static_cast<int>(number);
    double const rest = number - digits;
    if (std::abs(rest - 0.5) < uncertain) return false;
    if (rest > 0.5) ++digits;
    decimal = digits < end ? Decimal{digits, exponent} : Decimal{digits / 10, exponent + 1};
    return true;
}

/// Writes the first `whole` digits, and the others up to `size` after a point.
char* write_digits(char const (&digits)[digit_count], int size, int whole, char* at) {
    at = std::copy_n(digits, whole, at);
    if (size <= whole) return at;
    *at++ = '.';
    return std::copy(digits + whole, digits + size, at);
}

char* write_exponent(int exponent, char* at) {
    int const size = std::abs(exponent);
    *at++ = 'e';
    *at++ = exponent < 0 ? '-' : '+';
    *at++ = static_cast<char>('0' + size / 10);
    *at++ = static_cast<char>('0' + size % 10);
    return at;
}

char* write(Decimal decimal, char* at) {
    char digits[digit_count];
    for (int i = digit_count; i-- > 0; decimal.digits /= 10) {
        digits[i] = static_cast<char>('0' + decimal.digits % 10);
    }
    int size = digit_count;
    while (digits[size - 1] == '0') --size;

    constexpr int smallest_fixed = -4;
    if (decimal.exponent < smallest_fixed || decimal.exponent >= digit_count) {
        return write_exponent(decimal.exponent, write_digits(digits, size, 1, at));
    }
    if (decimal.exponent >= 0) return write_digits(digits, size, decimal.exponent + 1, at);
    at = std::copy_n("0.000", 1 - decimal.exponent, at);
    return std::copy_n(digits, size, at);
}

}  // namespace

char* tm_write_six_digits(double value, char* at) {
    Decimal decimal{};
    if (!round(std::abs(value), decimal)) {
        return std::to_chars(at, at + max_size, value, std::chars_format::general, digit_count).ptr;
    }
    if (value < 0) *at++ = '-';
    return write(decimal, at);
}
