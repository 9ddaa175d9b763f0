/// The tokens of a JSON text. They say where each value ends, so that a reader may take the members
/// of an object in any order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct Tm_limits;

struct Tm_json_token {
    enum Kind : unsigned char { object, array, end, key, string, number, truth };

    Kind kind : 7;
    bool has_escapes : 1;
    std::uint64_t place : 56;  ///< its place in the text
    /// The position of the end token of an object or array. The size of a string, key or number, or
    /// with escapes, the position of its text. 1 for true and 0 for false.
    std::uint64_t more;
};
static_assert(sizeof(Tm_json_token) == 16, "a text has many");

class Tm_json_tokens {
public:
    /// Refers to the text, which must outlive this.
    explicit Tm_json_tokens(std::string_view text) : text_(text) {}

    /// Reads the text. Returns false when it is not one JSON value in UTF-8 without null and
    /// without a byte order mark, or when it needs more levels or values than the limits allow.
    /// Then error() says why, and error_place() where.
    bool read(Tm_limits const& limits);

    std::string const& error() const { return error_; }
    std::size_t error_place() const { return error_place_; }

    Tm_json_token const& operator[](std::size_t i) const { return tokens_[i]; }
    bool is(std::size_t i, Tm_json_token::Kind kind) const { return tokens_[i].kind == kind; }
    /// Returns the position after the value that begins at position i.
    std::size_t after(std::size_t i) const {
        bool const is_list = is(i, Tm_json_token::object) || is(i, Tm_json_token::array);
        return (is_list ? static_cast<std::size_t>(tokens_[i].more) : i) + 1;
    }
    /// Returns the text of a string, key or number. It is valid as long as this and the text.
    std::string_view text_of(std::size_t i) const;

private:
    class Handler;

    std::string_view text_;
    std::vector<Tm_json_token> tokens_;
    std::vector<std::string> escaped_;  ///< the texts of strings and keys with escapes
    std::string error_;
    std::size_t error_place_ = 0;
};
