/// Splits list text into tokens: words, quoted strings and braces. A token is a view into the text,
/// which must outlive it.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "tmsg/text/tm_tcl_decoder.h"

/// A part of the text, or no word. It converts to false when it is no word.
class Tm_tcl_decoder::Word : public std::string_view {
public:
    /// Makes no word.
    Word() = default;
    /// Makes a word, which may be empty.
    Word(std::string_view text) : std::string_view(text) {}
    explicit operator bool() const { return data() != nullptr; }
};

class TMSG_API Tm_tcl_decoder::Tokenizer {
public:
    /// Each character of `returned` is a token by itself. Characters of `skipped` are in no token.
    /// Both end the token before them.
    Tokenizer(std::string_view text, std::string_view skipped, std::string_view returned);

    /// Returns whether the text has a further token.
    bool has_more_tokens() const { return at_ != end_; }
    /// Takes the next token and returns it. Call it only while has_more_tokens() returns true.
    std::string_view next_token() { return split_and_return_delims(); }

private:
    friend class Tm_tcl_decoder;

    enum class Role : unsigned char { word, skipped, returned };

    /// Takes the next token and returns true if the token is `returned`, which must be one of those
    /// characters. Otherwise returns false and takes nothing.
    bool take(char returned) {
        if (at_ == end_ || *at_ != returned) return false;
        last_ = at_;
        skip_from(at_ + 1);
        return true;
    }

    /// Returns whether the next token begins with a quote.
    bool is_at_quote() const { return at_ != end_ && *at_ == '"'; }
    /// Takes a quoted string and returns the text between the quotes. Call it only while
    /// is_at_quote() returns true. The closing quote is the first one that no backslash escapes and
    /// that ends a token. The text may have characters of `skipped` and `returned`. When there is
    /// no closing quote, takes only the opening quote and returns no word.
    Word next_quoted();
    /// Returns the rest of the text, after the tokens that were taken.
    std::string_view rest() const { return {at_, static_cast<std::size_t>(end_ - at_)}; }
    /// Return where the next token begins, and where the last one that was taken began.
    char const* next() const { return at_; }
    char const* last() const { return last_; }
    /// Makes the end of the text the last token.
    void take_end() { last_ = end_; }

    std::string_view split_and_return_delims() {
        char const* const begin = last_ = at_;
        char const* const end = role_of(*begin) == Role::word ? past(Role::word, begin) : begin + 1;
        skip_from(end);
        return {begin, static_cast<std::size_t>(end - begin)};
    }
    void skip_from(char const* at) { at_ = past(Role::skipped, at); }
    char const* past(Role role, char const* at) const {
        while (at != end_ && role_of(*at) == role) ++at;
        return at;
    }
    Role role_of(char c) const { return roles_[static_cast<unsigned char>(c)]; }

    char const* at_;
    char const* end_;
    char const* last_;
    std::array<Role, 256> roles_{};
};

/// A set of characters that count as blanks.
class Tm_tcl_decoder::IgnoreMap {
public:
    explicit constexpr IgnoreMap(std::string_view characters) : characters_(characters) {}

    /// Returns whether the token is one of the characters.
    bool contains(std::string_view token) const {
        return token.size() == 1 && characters_.find(token.front()) != std::string_view::npos;
    }
    constexpr std::string_view characters() const { return characters_; }

private:
    std::string_view characters_;
};
