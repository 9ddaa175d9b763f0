/// Cuts list text into its words. The tokens are views into the text.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "tmsg/text/tm_tcl_decoder.h"

class TMSG_API Tm_tcl_decoder::Tokenizer {
public:
    /// Each character of `returned` is a token by itself, those of `skipped` are dropped, and both
    /// end the token before them.
    Tokenizer(std::string_view text, std::string_view skipped, std::string_view returned);

    bool has_more_tokens() const { return position_ < text_.size(); }
    /// To be called while has_more_tokens().
    std::string_view next_token() { return split_and_return_delims(); }

private:
    enum class Role : unsigned char { word, skipped, returned };

    std::string_view split_and_return_delims();
    void skip();
    Role role_at(std::size_t position) const {
        return roles_[static_cast<unsigned char>(text_[position])];
    }

    std::string_view text_;
    std::array<Role, 256> roles_{};
    std::size_t position_ = 0;
};

/// The characters that count as blanks.
class Tm_tcl_decoder::IgnoreMap {
public:
    explicit constexpr IgnoreMap(std::string_view characters) : characters_(characters) {}

    /// The token is one of the characters.
    bool contains(std::string_view token) const {
        return token.size() == 1 && characters_.find(token.front()) != std::string_view::npos;
    }

private:
    std::string_view characters_;
};
