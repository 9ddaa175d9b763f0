#include "tmsg/text/tm_tcl_decoder.h"

#include <array>
#include <cstddef>
#include <exception>
#include <new>
#include <stdexcept>

#include "tmsg/composite/tm_array.h"
#include "tmsg/creator/internal/tm_own_creator.h"
#include "tmsg/text/internal/tm_tcl_words.h"
#include "tmsg/text/internal/tm_text_place.h"
#include "tmsg/text/tm_tcl_tokenizer.h"
#include "tmsg/value/internal/tm_limit_error.h"
#include "tmsg/value/internal/tm_walk.h"
#include "tmsg/value/tm_decimal.h"
#include "tmsg/value/tm_plain.h"
#include "tmsg/value/tm_value.h"

namespace {

constexpr Tm_tcl_decoder::IgnoreMap blanks(" \t\r\n\f");
constexpr std::string_view braces = "{}";

unsigned int length_of(std::string_view text) { return static_cast<unsigned int>(text.size()); }

}  // namespace

struct Tm_tcl_decoder::Keyword {
    std::string_view word;
    void (Tm_tcl_decoder::*read)(std::string_view keyword, Tokenizer& tokens) = nullptr;
};

/// The differences between byte strings and files.
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
    error_line_ = 0;
    error_column_ = 0;
    refuses_value_ = false;
    creator_.reset();
    result_ = std::make_unique<Tm_array>();
    creator_ = std::make_unique<Tm_own_creator>(result_.get(), limits_);
}

void Tm_tcl_decoder::decode(std::string const& text) {
    Tokenizer tokens(text, blanks.characters(), braces);
    try {
        init();
        read_text(text, tokens);
    } catch (std::exception const& failure) {
        // This text stays if there is no memory for the other one.
        set_error(std::bad_alloc().what());
        set_error(failure.what());
        refuses_value_ = true;
        note_place(text, tokens);
        throw;
    }
    if (state_ == State::failed) note_place(text, tokens);
}

void Tm_tcl_decoder::read_text(std::string const& text, Tokenizer& tokens) {
    value_ = text.data();
    if (text.size() > limits_.max_message_bytes) return set_error(tm_message_too_long(limits_));
    while (state_ != State::failed && tokens.has_more_tokens()) {
        state_ == State::expects_member ? read_member(tokens) : read_value(tokens);
    }
    read_end(tokens);
}

void Tm_tcl_decoder::note_place(std::string_view text, Tokenizer const& tokens) {
    char const* const refused = refuses_value_ ? value_ : tokens.last();
    auto const before = static_cast<std::size_t>(refused - text.data());
    Tm_text_place const place = tm_place_behind(text.substr(0, before));
    error_line_ = place.line;
    error_column_ = place.column;
}

/// The keywords. The length and the middle character of a keyword give its slot.
class Tm_tcl_decoder::Keywords {
public:
    constexpr Keywords() {
        using Decoder = Tm_tcl_decoder;
        add({"struct", &Decoder::read_struct});
        add({"array", &Decoder::read_array});
        add({"string", &Decoder::read_string});
        add({"bool", &Decoder::read_bool});
        add({"double", &Decoder::read_number<double>});
        add({"int8_t", &Decoder::read_number<signed char>});
        add({"uint8_t", &Decoder::read_number<unsigned char>});
        add({"int16_t", &Decoder::read_number<short>});
        add({"uint16_t", &Decoder::read_number<unsigned short>});
        add({"int32_t", &Decoder::read_number<int>});
        add({"uint32_t", &Decoder::read_number<unsigned int>});
        add({"int64_t", &Decoder::read_number<long>});
        add({"uint64_t", &Decoder::read_number<unsigned long>});
        add({"binary", &Decoder::read_binary});
        add({"file", &Decoder::read_file});
        add({"name", &Decoder::read_method_name});
        add({"request", &Decoder::read_request});
        add({"response", &Decoder::read_response});
        add({"fault", &Decoder::read_fault});
    }

    /// Returns the only keyword that can equal the word, which must not be empty.
    constexpr Keyword const& candidate(std::string_view word) const {
        return slots_[slot_of(word)];
    }

private:
    static constexpr std::size_t slot_count = 64;

    static constexpr std::size_t slot_of(std::string_view word) {
        auto const middle = static_cast<unsigned char>(word[word.size() / 2]);
        return (10 * word.size() + middle) % slot_count;
    }

    /// The compiler runs it, so that two keywords in one slot do not compile.
    constexpr void add(Keyword const& keyword) {
        Keyword& slot = slots_[slot_of(keyword.word)];
        if (slot.read != nullptr) throw std::logic_error("two keywords in one slot");
        slot = keyword;
    }

    std::array<Keyword, slot_count> slots_{};
};

// These functions are inline because they run for each word.

inline void Tm_tcl_decoder::read_value(Tokenizer& tokens) {
    static constexpr Keywords keywords;
    value_ = tokens.next();
    if (tokens.take('}')) return read_closing_brace(tokens);
    std::string_view const token = tokens.next_token();
    Keyword const& keyword = keywords.candidate(token);
    if (keyword.word != token) {
        fail("unexpected token: ", token);
    } else {
        (this->*keyword.read)(keyword.word, tokens);
    }
}

void Tm_tcl_decoder::read_request(std::string_view, Tokenizer& tokens) {
    if (emit<&Tm_creator::visit_method_begin>(true)) open_brace(tokens, State::expects_value);
}

void Tm_tcl_decoder::read_response(std::string_view, Tokenizer& tokens) {
    if (emit<&Tm_creator::visit_method_begin>(false)) open_brace(tokens, State::expects_value);
}

void Tm_tcl_decoder::read_fault(std::string_view, Tokenizer& tokens) {
    if (emit<&Tm_creator::visit_fault_begin>()) open_brace(tokens, State::expects_value);
}

void Tm_tcl_decoder::read_method_name(std::string_view, Tokenizer& tokens) {
    Word const name = get_possibly_quoted_string(tokens, "method name");
    if (!name) return;
    emit<&Tm_creator::visit_method_name_begin>(length_of(name)) &&
        emit<&Tm_creator::visit_method_name_continue>(name.data(), length_of(name));
}

void Tm_tcl_decoder::read_struct(std::string_view, Tokenizer& tokens) {
    if (emit<&Tm_creator::visit_struct_begin>()) open_brace(tokens, State::expects_member);
}

void Tm_tcl_decoder::read_array(std::string_view, Tokenizer& tokens) {
    if (emit<&Tm_creator::visit_array_begin>()) open_brace(tokens, State::expects_value);
}

void Tm_tcl_decoder::read_binary(std::string_view keyword, Tokenizer& tokens) {
    read_contents({keyword, "binary length", "binary value", &Tm_creator::visit_binary_begin,
                   &Tm_creator::visit_binary_continue},
                  tokens);
}

void Tm_tcl_decoder::read_file(std::string_view keyword, Tokenizer& tokens) {
    read_contents({keyword, "file length", "file contents", &Tm_creator::visit_file_begin,
                   &Tm_creator::visit_file_continue},
                  tokens);
}

void Tm_tcl_decoder::read_contents(Contents const& kind, Tokenizer& tokens) {
    Word const token = get_additional_token(tokens, kind.length);
    if (!token) return;
    unsigned int length = 0;
    if (!tm_parse_number(token, length)) {
        fail("bad number format parsing ", kind.length, ": ", token);
        return;
    }
    Word const bytes = unescape_string(get_possibly_quoted_string(tokens, kind.bytes));
    if (!bytes) return;
    if (bytes.size() != length) {
        fail(bytes.size() < length ? "premature end of " : "overlong ", kind.kind, ": \"", bytes,
             "\" should be ", std::string_view(Tm_decimal(length)), " characters");
        return;
    }
    if (emit_pieces(kind, bytes)) next_state_after_value(tokens);
}

/// Sends one empty piece for contents of length 0.
bool Tm_tcl_decoder::emit_pieces(Contents const& kind, std::string_view bytes) {
    (creator_.get()->*kind.begin)(length_of(bytes));
    do {
        if (!creator_->error().empty()) return refuse_value();
        std::string_view const piece = bytes.substr(0, tm_piece_size);
        (creator_.get()->*kind.piece)(piece.data(), length_of(piece));
        bytes.remove_prefix(piece.size());
    } while (!bytes.empty());
    return creator_->error().empty() || refuse_value();
}

void Tm_tcl_decoder::read_string(std::string_view keyword, Tokenizer& tokens) {
    Word const text = unescape_string(get_possibly_quoted_string(tokens, keyword, " value"));
    if (text && put_text(text)) next_state_after_value(tokens);
}

void Tm_tcl_decoder::read_bool(std::string_view keyword, Tokenizer& tokens) {
    Word const token = get_additional_token(tokens, keyword, " value");
    if (!token) return;
    bool const value = token == "true";
    if (!value && token != "false") {
        fail("invalid boolean value: ", token);
    } else if (creator_->take(value) || emit<&Tm_creator::visit_bool>(value)) {
        next_state_after_value(tokens);
    }
}

template <class Number>
void Tm_tcl_decoder::read_number(std::string_view keyword, Tokenizer& tokens) {
    Word const token = get_additional_token(tokens, keyword, " value");
    if (!token) return;
    Number number{};
    if (!tm_parse_number(token, number)) {
        fail("bad number format parsing ", keyword, ": ", token);
    } else if (creator_->take(number) || emit<Tm_plain<Number>::event>(number)) {
        next_state_after_value(tokens);
    }
}

void Tm_tcl_decoder::read_closing_brace(Tokenizer& tokens) {
    if (close_innermost(tokens)) next_state_after_brace(tokens);
}

/// Closes nothing in a member: next_state_after_brace() ends the member, or sets the error.
bool Tm_tcl_decoder::close_innermost(Tokenizer& tokens) {
    switch (creator_->innermost()) {
        case Tm_open::array:
            return emit<&Tm_creator::visit_array_end>();
        case Tm_open::call:
            return emit<&Tm_creator::visit_method_end>(true);
        case Tm_open::response:
            return emit<&Tm_creator::visit_method_end>(false);
        case Tm_open::fault:
            return emit<&Tm_creator::visit_fault_end>() && get_brace(tokens, '}') &&
                   emit<&Tm_creator::visit_method_end>(false);
        case Tm_open::member:
            return true;
        default:
            return fail("unmatched }, current state: ", creator_->get_current_state_name());
    }
}

inline void Tm_tcl_decoder::read_member(Tokenizer& tokens) {
    value_ = tokens.next();
    if (tokens.take('}')) {
        if (emit<&Tm_creator::visit_struct_end>()) next_state_after_brace(tokens);
        return;
    }
    Word const name = get_possibly_quoted_string(tokens, "member name");
    if (name && put_name(name)) {
        open_brace(tokens, State::expects_member_value);
    }
}

inline void Tm_tcl_decoder::open_brace(Tokenizer& tokens, State inside) {
    if (get_brace(tokens, '{')) state_ = inside;
}

void Tm_tcl_decoder::next_state_after_brace(Tokenizer& tokens) {
    bool const is_in_member = creator_->innermost() == Tm_open::member;
    state_ = is_in_member ? State::expects_member_value : State::expects_value;
    next_state_after_value(tokens);
}

/// A member has one value, so its closing brace must come next.
inline void Tm_tcl_decoder::next_state_after_value(Tokenizer& tokens) {
    if (state_ == State::expects_member_value &&
        (creator_->end_member() || emit<&Tm_creator::visit_member_end>()) &&
        get_brace(tokens, '}')) {
        state_ = State::expects_member;
    }
}

void Tm_tcl_decoder::read_end(Tokenizer& tokens) {
    if (state_ == State::failed) return;
    tokens.take_end();
    if (state_ == State::expects_member) {
        fail("decoder within member at end of buffer");
    } else if (!creator_->done()) {
        fail("decoder expecting more data after end of buffer");
    }
}

template <class... Part>
inline Tm_tcl_decoder::Word Tm_tcl_decoder::get_additional_token(Tokenizer& tokens,
                                                                 Part const&... what) {
    if (tokens.has_more_tokens()) return tokens.next_token();
    tokens.take_end();
    fail("premature end of input: expected ", what...);
    return {};
}

inline bool Tm_tcl_decoder::get_brace(Tokenizer& tokens, char brace) {
    if (tokens.take(brace)) return true;
    Word const token = get_additional_token(tokens, brace);
    return token && fail("expected ", brace, " but got: ", token);
}

template <class... Part>
inline Tm_tcl_decoder::Word Tm_tcl_decoder::get_possibly_quoted_string(Tokenizer& tokens,
                                                                       Part const&... what) {
    if (!tokens.is_at_quote()) return get_additional_token(tokens, what...);
    Word const text = tokens.next_quoted();
    if (!text) fail("unmatching quotes in ", what..., ": \"", tokens.rest());
    return text;
}

Tm_tcl_decoder::Word Tm_tcl_decoder::unescape_string(Word text) {
    if (!text || text.find('\\') == std::string_view::npos) return text;
    std::string_view const error = tm_unescape(text, unescaped_);
    if (error.empty()) return std::string_view(unescaped_);
    fail(error, text);
    return {};
}

// Both pass a whole text to the creator. They return false when the creator refused it, and the
// error text of the creator becomes the decoder's. A text that is too long is sent as events, so
// that the creator sets its error text. Then the text is refused, not its type.

inline bool Tm_tcl_decoder::put_text(std::string_view text) {
    if (text.size() <= Tm_string::MAX_LENGTH && creator_->take_text(text)) return true;
    if (emit<&Tm_creator::visit_string_begin>(length_of(text)) &&
        emit<&Tm_creator::visit_string_continue>(text.data(), length_of(text))) {
        return true;
    }
    refuses_value_ = text.size() <= Tm_string::MAX_LENGTH;
    return false;
}

inline bool Tm_tcl_decoder::put_name(std::string_view name) {
    if (name.size() <= Tm_string::MAX_LENGTH && creator_->take_whole_name(name)) return true;
    return emit<&Tm_creator::visit_member_begin>(length_of(name)) &&
           emit<&Tm_creator::visit_member_continue>(name.data(), length_of(name));
}

/// Sends an event. Returns false when the creator refused it. The error text of the creator then
/// becomes the decoder's.
template <auto Event, class... Datum>
bool Tm_tcl_decoder::emit(Datum... datum) {
    (creator_.get()->*Event)(datum...);
    return creator_->error().empty() || refuse_value();
}

/// Fails with the error text of the creator.
bool Tm_tcl_decoder::refuse_value() {
    refuses_value_ = true;
    return fail(creator_->error());
}

void Tm_tcl_decoder::set_error(std::string const& text) {
    state_ = State::failed;
    error_ = text;
}

template <class... Part>
bool Tm_tcl_decoder::fail(Part const&... part) {
    std::string text;
    (text += ... += part);
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
