#include "tmsg/text/internal/tm_json_tokens.h"

#include <iterator>
#include <nlohmann/json.hpp>

#include "tmsg/value/internal/tm_limit_error.h"

namespace {

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

/// An open struct, array or message takes at most so many brackets, as in {"$struct":[[ ... ]]},
/// and a value within it one more. A value takes at most so many tokens, as a message with names
/// that are no UTF-8 does.
constexpr std::size_t brackets_of_level = 3;
constexpr std::size_t tokens_of_value = 32;

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// An iterator that tells how far the parser has read.
class Watched_iterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = char const*;
    using reference = char const&;

    Watched_iterator(char const* at, std::size_t& seen) : at_(at), seen_(&seen) {}

    char const& operator*() const { return *at_; }
    Watched_iterator& operator++() {
        ++at_;
        ++*seen_;
        return *this;
    }
    bool operator==(Watched_iterator const& other) const { return at_ == other.at_; }
    bool operator!=(Watched_iterator const& other) const { return at_ != other.at_; }

private:
    char const* at_;
    std::size_t* seen_;
};

/// Returns what the parser says without the place, and without the token, which may be long.
std::string syntax_error(std::string const& what) {
    std::size_t const begin = what.find("syntax error");
    if (begin == std::string::npos) return {};
    return what.substr(begin, what.find("; last read") - begin);
}

}  // namespace

/// Takes the events of the parser. Each comes when the parser has read its token and, after a
/// number, one more byte.
class Tm_json_tokens::Handler {
public:
    using Json = nlohmann::json;
    using Token = Tm_json_token;

    Handler(Tm_json_tokens& target, Tm_limits const& limits) : target_(target), limits_(limits) {}

    bool run() {
        char const* const begin = text().data();
        char const* const end = begin + text().size();
        bool const is_json =
            Json::sax_parse(Watched_iterator(begin, seen_), Watched_iterator(end, seen_), this);
        if (!is_json) return false;
        // The parser takes a zero byte for the end.
        std::size_t const rest = next_token();
        return rest == text().size() || fail(rest, "syntax error: zero byte behind the value");
    }

    // The events. Each returns true to go on.

    bool null() { return fail(next_token(), "null is no value"); }
    bool boolean(bool value) { return add(Token::truth, value ? 1 : 0) && end_value(seen_); }
    bool number_integer(Json::number_integer_t) { return add_number(); }
    bool number_unsigned(Json::number_unsigned_t) { return add_number(); }
    bool number_float(Json::number_float_t, std::string const&) { return add_number(); }
    bool string(std::string& value) { return add_text(Token::string, value) && end_value(seen_); }
    bool binary(Json::binary_t&) { return false; }
    bool key(std::string& name) {
        if (!add_text(Token::key, name)) return false;
        end_ = seen_;
        separator_ = ':';
        return true;
    }
    bool start_object(std::size_t) { return open(Token::object); }
    bool start_array(std::size_t) { return open(Token::array); }
    bool end_object() { return close(); }
    bool end_array() { return close(); }
    bool parse_error(std::size_t, std::string const&, std::exception const& error) {
        std::size_t const place = next_token();
        std::string const what = syntax_error(error.what());
        if (!what.empty()) return fail(place, what);
        std::string_view const number = text().substr(place, number_end(place) - place);
        return fail(place, std::string(number) + " does not fit double");
    }

private:
    std::string_view text() const { return target_.text_; }
    std::size_t skip_blanks(std::size_t place) const {
        while (place < text().size() && is_blank(text()[place])) ++place;
        return place;
    }
    std::size_t skip_digits(std::size_t place) const {
        while (place < text().size() && is_digit(text()[place])) ++place;
        return place;
    }
    bool has(std::size_t place, std::string_view characters) const {
        return place < text().size() && characters.find(text()[place]) != std::string_view::npos;
    }

    /// Returns where the next token begins, after the separator that may come before it.
    std::size_t next_token() const {
        std::size_t const place = skip_blanks(end_);
        bool const is_separator = separator_ != '\0' && has(place, {&separator_, 1});
        return is_separator ? skip_blanks(place + 1) : place;
    }

    /// Returns the end of the number that begins at a place.
    std::size_t number_end(std::size_t place) const {
        if (has(place, "-")) ++place;
        place = has(place, "0") ? place + 1 : skip_digits(place);
        if (has(place, ".")) place = skip_digits(place + 1);
        if (!has(place, "eE")) return place;
        ++place;
        if (has(place, "+-")) ++place;
        return skip_digits(place);
    }

    bool add(Token::Kind kind, std::size_t more, bool has_escapes = false) {
        std::size_t const place = next_token();
        auto& tokens = target_.tokens_;
        bool const are_too_many = tokens.size() / tokens_of_value > limits_.max_values;
        if (are_too_many) return fail(place, tm_too_many_values(limits_));
        tokens.push_back({kind, has_escapes, place & place_mask, more});
        return true;
    }

    bool add_text(Token::Kind kind, std::string& text) {
        constexpr std::size_t quotes = 2;
        bool const has_escapes = text.size() + quotes != seen_ - next_token();
        if (!has_escapes) return add(kind, text.size());
        target_.escaped_.push_back(std::move(text));
        return add(kind, target_.escaped_.size() - 1, true);
    }

    bool add_number() {
        std::size_t const place = next_token();
        std::size_t const end = number_end(place);
        return add(Token::number, end - place) && end_value(end);
    }

    bool end_value(std::size_t end) {
        end_ = end;
        separator_ = open_.empty() ? '\0' : ',';
        return true;
    }

    bool open(Token::Kind kind) {
        bool const is_too_deep = open_.size() / brackets_of_level > limits_.max_depth;
        if (is_too_deep) return fail(next_token(), tm_too_deep(limits_));
        if (!add(kind, 0)) return false;
        open_.push_back(target_.tokens_.size() - 1);
        end_ = seen_;
        separator_ = '\0';
        return true;
    }

    bool close() {
        target_.tokens_[open_.back()].more = target_.tokens_.size();
        open_.pop_back();
        return add(Token::end, 0) && end_value(seen_);
    }

    bool fail(std::size_t place, std::string text) {
        target_.error_ = std::move(text);
        target_.error_place_ = place;
        return false;
    }

    static constexpr std::uint64_t place_mask = (std::uint64_t{1} << 56) - 1;

    Tm_json_tokens& target_;
    Tm_limits const& limits_;
    std::size_t seen_ = 0;           ///< how many bytes the parser has read
    std::size_t end_ = 0;            ///< the end of the last token
    char separator_ = '\0';          ///< what may stand before the next token
    std::vector<std::size_t> open_;  ///< the positions of the open objects and arrays
};

bool Tm_json_tokens::read(Tm_limits const& limits) {
    if (text_.substr(0, byte_order_mark.size()) == byte_order_mark) {
        error_ = "byte order mark";
        return false;
    }
    return Handler(*this, limits).run();
}

std::string_view Tm_json_tokens::text_of(std::size_t i) const {
    Tm_json_token const& token = tokens_[i];
    auto const more = static_cast<std::size_t>(token.more);
    if (token.has_escapes) return escaped_[more];
    bool const is_quoted = token.kind != Tm_json_token::number;
    return text_.substr(static_cast<std::size_t>(token.place) + (is_quoted ? 1 : 0), more);
}
