#include "tmsg/text/tm_tcl_tokenizer.h"

Tm_tcl_decoder::Tokenizer::Tokenizer(std::string_view text, std::string_view skipped,
                                     std::string_view returned)
    : text_(text) {
    for (char const c : skipped) roles_[static_cast<unsigned char>(c)] = Role::skipped;
    for (char const c : returned) roles_[static_cast<unsigned char>(c)] = Role::returned;
    skip();
}

void Tm_tcl_decoder::Tokenizer::skip() {
    while (has_more_tokens() && role_at(position_) == Role::skipped) ++position_;
}

std::string_view Tm_tcl_decoder::Tokenizer::split_and_return_delims() {
    std::size_t const start = position_++;
    if (role_at(start) == Role::word) {
        while (has_more_tokens() && role_at(position_) == Role::word) ++position_;
    }
    std::string_view const token = text_.substr(start, position_ - start);
    skip();
    return token;
}
