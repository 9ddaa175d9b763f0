#include "tmsg/text/tm_tcl_decoder.h"

#include <algorithm>
#include <exception>
#include <new>

#include "tmsg/composite/tm_array.h"
#include "tmsg/creator/tm_creator.h"
#include "tmsg/text/tm_tcl_number.h"
#include "tmsg/text/tm_tcl_quotes.h"
#include "tmsg/text/tm_tcl_tokenizer.h"
#include "tmsg/value/tm_decimal.h"
#include "tmsg/value/tm_limit_error.h"
#include "tmsg/value/tm_plain.h"
#include "tmsg/value/tm_value.h"
#include "tmsg/value/tm_walk.h"

namespace {

constexpr Tm_tcl_decoder::IgnoreMap blanks(" \t\r\n\f");
constexpr std::string_view delimiters = " \t\r\n\f{}";

template <class... Part>
std::string joined(Part const&... part) {
    std::string text;
    (text += ... += part);
    return text;
}

unsigned int length_of(std::string_view text) { return static_cast<unsigned int>(text.size()); }

}  // namespace

struct Tm_tcl_decoder::Keyword {
    std::string_view word;
    void (Tm_tcl_decoder::*read)(Tokenizer& tokens);
};

/// What byte strings and files differ in.
struct Tm_tcl_decoder::Contents {
    std::string_view kind;
    std::string_view length;
    std::string_view bytes;
    Begin_event begin;
    Piece_event piece;
};

Tm_tcl_decoder::Tm_tcl_decoder(Tm_limits const& limits) : limits_(limits) {}

Tm_tcl_decoder::~Tm_tcl_decoder() = default;

void Tm_tcl_decoder::init() {
    state_ = State::expects_value;
    error_.clear();
    creator_.reset();
    result_ = std::make_unique<Tm_array>();
    creator_ = std::make_unique<Tm_creator>(result_.get(), limits_);
}

void Tm_tcl_decoder::decode(std::string const& text) {
    try {
        init();
        if (text.size() > limits_.max_message_bytes) {
            return set_error(tm_message_too_long(limits_));
        }
        Tokenizer tokens(text, "", delimiters);
        while (state_ != State::failed && tokens.has_more_tokens()) {
            std::string_view const token = tokens.next_token();
            if (blanks.contains(token)) continue;
            if (state_ == State::expects_value) {
                read_value(token, tokens);
            } else {
                read_member(token, tokens);
            }
        }
        read_end();
    } catch (std::exception const& failure) {
        // Stays where there is no memory for the text.
        set_error(std::bad_alloc().what());
        set_error(failure.what());
        throw;
    }
}

void Tm_tcl_decoder::read_value(std::string_view token, Tokenizer& tokens) {
    using Decoder = Tm_tcl_decoder;
    static constexpr Keyword keywords[] = {
        {"}", &Decoder::read_closing_brace},
        {"struct", &Decoder::read_struct},
        {"array", &Decoder::read_array},
        {"string", &Decoder::read_string},
        {"int32_t", &Decoder::read_number<int>},
        {"uint32_t", &Decoder::read_number<unsigned int>},
        {"bool", &Decoder::read_bool},
        {"double", &Decoder::read_number<double>},
        {"int64_t", &Decoder::read_number<long>},
        {"uint64_t", &Decoder::read_number<unsigned long>},
        {"int8_t", &Decoder::read_number<signed char>},
        {"uint8_t", &Decoder::read_number<unsigned char>},
        {"int16_t", &Decoder::read_number<short>},
        {"uint16_t", &Decoder::read_number<unsigned short>},
        {"binary", &Decoder::read_binary},
        {"file", &Decoder::read_file},
        {"name", &Decoder::read_method_name},
        {"request", &Decoder::read_request},
        {"response", &Decoder::read_response},
        {"fault", &Decoder::read_fault},
    };
    for (Keyword const& keyword : keywords) {
        if (keyword.word == token) return (this->*keyword.read)(tokens);
    }
    fail(joined("unexpected token: ", token));
}

void Tm_tcl_decoder::read_request(Tokenizer& tokens) {
    if (emit<&Tm_creator::visit_method_begin>(true)) get_left_brace(tokens);
}

void Tm_tcl_decoder::read_response(Tokenizer& tokens) {
    if (emit<&Tm_creator::visit_method_begin>(false)) get_left_brace(tokens);
}

void Tm_tcl_decoder::read_fault(Tokenizer& tokens) {
    if (emit<&Tm_creator::visit_fault_begin>()) get_left_brace(tokens);
}

void Tm_tcl_decoder::read_method_name(Tokenizer& tokens) {
    Word const name = get_possibly_quoted_string(tokens, "method name");
    if (!name) return;
    emit<&Tm_creator::visit_method_name_begin>(length_of(*name)) &&
        emit<&Tm_creator::visit_method_name_continue>(name->data(), length_of(*name));
}

void Tm_tcl_decoder::read_struct(Tokenizer& tokens) {
    if (emit<&Tm_creator::visit_struct_begin>() && get_left_brace(tokens)) {
        state_ = State::expects_member;
    }
}

void Tm_tcl_decoder::read_array(Tokenizer& tokens) {
    if (emit<&Tm_creator::visit_array_begin>()) get_left_brace(tokens);
}

void Tm_tcl_decoder::read_binary(Tokenizer& tokens) {
    read_contents({"binary", "binary length", "binary value", &Tm_creator::visit_binary_begin,
                   &Tm_creator::visit_binary_continue},
                  tokens);
}

void Tm_tcl_decoder::read_file(Tokenizer& tokens) {
    read_contents({"file", "file length", "file contents", &Tm_creator::visit_file_begin,
                   &Tm_creator::visit_file_continue},
                  tokens);
}

void Tm_tcl_decoder::read_contents(Contents const& kind, Tokenizer& tokens) {
    Word const token = get_additional_token(tokens, kind.length);
    if (!token) return;
    unsigned int length = 0;
    if (!tm_parse_number(*token, length)) {
        fail(joined("bad number format parsing ", kind.length, ": ", *token));
        return;
    }
    Word const quoted = get_possibly_quoted_string(tokens, kind.bytes);
    Word const bytes = quoted ? unescape_string(*quoted) : std::nullopt;
    if (!bytes) return;
    if (bytes->size() != length) {
        fail(joined(bytes->size() < length ? "premature end of " : "overlong ", kind.kind, ": \"",
                    *bytes, "\" should be ", std::string_view(Tm_decimal(length)), " characters"));
        return;
    }
    if (emit_pieces(kind, *bytes)) next_state_after_value(tokens);
}

/// Bytes of length 0 are one piece.
bool Tm_tcl_decoder::emit_pieces(Contents const& kind, std::string_view bytes) {
    (creator_.get()->*kind.begin)(length_of(bytes));
    do {
        if (!creator_->error().empty()) return fail(creator_->error());
        std::string_view const piece = bytes.substr(0, tm_piece_size);
        (creator_.get()->*kind.piece)(piece.data(), length_of(piece));
        bytes.remove_prefix(piece.size());
    } while (!bytes.empty());
    return creator_->error().empty() || fail(creator_->error());
}

void Tm_tcl_decoder::read_string(Tokenizer& tokens) {
    Word const quoted = get_possibly_quoted_string(tokens, "string value");
    Word const text = quoted ? unescape_string(*quoted) : std::nullopt;
    if (text && emit<&Tm_creator::visit_string_begin>(length_of(*text)) &&
        emit<&Tm_creator::visit_string_continue>(text->data(), length_of(*text))) {
        next_state_after_value(tokens);
    }
}

void Tm_tcl_decoder::read_bool(Tokenizer& tokens) {
    Word const token = get_additional_token(tokens, "bool value");
    if (!token) return;
    if (*token != "true" && *token != "false") {
        fail(joined("invalid boolean value: ", *token));
    } else if (emit<&Tm_creator::visit_bool>(*token == "true")) {
        next_state_after_value(tokens);
    }
}

template <class Number>
void Tm_tcl_decoder::read_number(Tokenizer& tokens) {
    char const* const type = Tm_value::tmv_to_string(Tm_plain<Number>::code);
    Word const token = get_additional_token(tokens, joined(type, " value"));
    if (!token) return;
    Number number{};
    if (!tm_parse_number(*token, number)) {
        fail(joined("bad number format parsing ", type, ": ", *token));
    } else if (emit<Tm_plain<Number>::event>(number)) {
        next_state_after_value(tokens);
    }
}

void Tm_tcl_decoder::read_closing_brace(Tokenizer& tokens) {
    std::string_view const open = creator_->get_current_state_name();
    bool closed = true;
    if (open == "struct") {
        closed = emit<&Tm_creator::visit_struct_end>();
    } else if (open == "array") {
        closed = emit<&Tm_creator::visit_array_end>();
    } else if (open == "method call") {
        closed = emit<&Tm_creator::visit_method_end>(true);
    } else if (open == "method response") {
        closed = emit<&Tm_creator::visit_method_end>(false);
    } else if (open == "fault") {
        closed = emit<&Tm_creator::visit_fault_end>() && get_right_brace(tokens) &&
                 emit<&Tm_creator::visit_method_end>(false);
    } else if (open != "member") {
        closed = fail(joined("unmatched }, current state: ", open));
    }
    if (closed) next_state_after_value(tokens);
}

void Tm_tcl_decoder::read_member(std::string_view token, Tokenizer& tokens) {
    if (token == "}") {
        if (emit<&Tm_creator::visit_struct_end>()) next_state_after_value(tokens);
        return;
    }
    Word const name = add_to_possibly_quoted_string(token, tokens, "member name");
    if (name && emit<&Tm_creator::visit_member_begin>(length_of(*name)) &&
        emit<&Tm_creator::visit_member_continue>(name->data(), length_of(*name))) {
        state_ = State::expects_value;
        get_left_brace(tokens);
    }
}

/// A member holds one value, so that its brace must close behind it.
void Tm_tcl_decoder::next_state_after_value(Tokenizer& tokens) {
    if (std::string_view(creator_->get_current_state_name()) != "member") {
        state_ = State::expects_value;
    } else if (emit<&Tm_creator::visit_member_end>()) {
        state_ = State::expects_member;
        get_right_brace(tokens);
    }
}

void Tm_tcl_decoder::read_end() {
    if (state_ == State::failed) return;
    if (state_ == State::expects_member) {
        fail("decoder within member at end of buffer");
    } else if (!creator_->done()) {
        fail("decoder expecting more data after end of buffer");
    }
}

Tm_tcl_decoder::Word Tm_tcl_decoder::get_additional_token(Tokenizer& tokens,
                                                          std::string_view what) {
    for (;;) {
        Word const token = get_additional_token_with_whitespace(tokens, what);
        if (!token || !blanks.contains(*token)) return token;
    }
}

Tm_tcl_decoder::Word Tm_tcl_decoder::get_additional_token_with_whitespace(Tokenizer& tokens,
                                                                          std::string_view what) {
    if (tokens.has_more_tokens()) return tokens.next_token();
    fail(joined("premature end of input: expected ", what));
    return std::nullopt;
}

bool Tm_tcl_decoder::get_brace(Tokenizer& tokens, char brace) {
    std::string_view const expected(&brace, 1);
    Word const token = get_additional_token(tokens, expected);
    return token &&
           (*token == expected || fail(joined("expected ", expected, " but got: ", *token)));
}

Tm_tcl_decoder::Word Tm_tcl_decoder::get_possibly_quoted_string(Tokenizer& tokens,
                                                                std::string_view what) {
    Word const token = get_additional_token(tokens, what);
    return token ? add_to_possibly_quoted_string(*token, tokens, what) : std::nullopt;
}

/// The tokens of a quoted string stand side by side in the text, so that it is one view too.
Tm_tcl_decoder::Word Tm_tcl_decoder::add_to_possibly_quoted_string(std::string_view token,
                                                                   Tokenizer& tokens,
                                                                   std::string_view what) {
    if (token.front() != '"') return token;
    char const* const begin = token.data() + 1;
    std::string_view piece = token.substr(1);
    auto const gathered = [&] {
        return std::string_view(begin,
                                static_cast<std::size_t>(piece.data() + piece.size() - begin));
    };
    while (!tm_ends_with_quote(piece)) {
        Word const next = get_additional_token_with_whitespace(tokens, "quoted string value");
        if (!next) {
            fail(joined("unmatching quotes in ", what, ": \"", gathered()));
            return std::nullopt;
        }
        piece = *next;
    }
    std::string_view text = gathered();
    text.remove_suffix(1);
    return text;
}

Tm_tcl_decoder::Word Tm_tcl_decoder::unescape_string(std::string_view text) {
    if (text.find('\\') == std::string_view::npos) return text;
    std::string_view const error = tm_unescape(text, unescaped_);
    if (error.empty()) return unescaped_;
    fail(joined(error, text));
    return std::nullopt;
}

/// Passes an event on. False: the creator rejected it, for a reason that becomes the error.
template <auto Event, class... Datum>
bool Tm_tcl_decoder::emit(Datum... datum) {
    (creator_.get()->*Event)(datum...);
    return creator_->error().empty() || fail(creator_->error());
}

void Tm_tcl_decoder::set_error(std::string const& text) {
    state_ = State::failed;
    error_ = text;
}

bool Tm_tcl_decoder::fail(std::string const& text) {
    set_error(text);
    return false;
}

Tm_value* Tm_tcl_decoder::get_value() const {
    return error_.empty() && result_ != nullptr ? result_->get_value(0) : nullptr;
}

std::vector<std::string> const& Tm_tcl_decoder::received_files() const {
    static std::vector<std::string> const none;
    return creator_ != nullptr ? creator_->received_files() : none;
}
