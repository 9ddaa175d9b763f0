#include "tmsg/text/tm_tcl_tokenizer.h"

#include <cstring>

#include "tmsg/text/internal/tm_tcl_words.h"

Tm_tcl_decoder::Tokenizer::Tokenizer(std::string_view text, std::string_view skipped,
                                     std::string_view returned)
    : at_(text.data()), end_(text.data() + text.size()), last_(text.data()) {
    for (char const c : skipped) roles_[static_cast<unsigned char>(c)] = Role::skipped;
    for (char const c : returned) roles_[static_cast<unsigned char>(c)] = Role::returned;
    skip_from(at_);
}

Tm_tcl_decoder::Word Tm_tcl_decoder::Tokenizer::next_quoted() {
    last_ = at_;
    char const* const begin = ++at_;
    for (char const* next = begin; next != end_;) {
        auto const* const quote =
            static_cast<char const*>(std::memchr(next, '"', static_cast<std::size_t>(end_ - next)));
        if (quote == nullptr) break;
        next = quote + 1;
        if (next != end_ && role_of(*next) == Role::word) continue;
        std::string_view const quoted(begin, static_cast<std::size_t>(quote - begin));
        if (tm_ends_in_escape(quoted)) continue;
        skip_from(next);
        return quoted;
    }
    return {};
}
