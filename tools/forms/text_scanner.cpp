#include "forms/text_scanner.h"

std::size_t Text_scanner::scan(std::string_view piece) {
    std::size_t at = 0;
    while (at < piece.size() && !is_complete_) take(piece[at++]);
    return at;
}

void Text_scanner::take(char c) {
    if (state_ == State::quoted) {
        take_quoted(c);
    } else if (is_json_) {
        take_json(c);
    } else {
        take_list_text(c);
    }
}

/// An odd number of backslashes before a quote escapes it.
void Text_scanner::take_quoted(char c) {
    bool const closes = c == '"' && !is_escaped_;
    is_escaped_ = c == '\\' && !is_escaped_;
    if (closes) state_ = is_json_ ? State::between_tokens : State::closing_quote;
}

/// A text that is no object and no array cannot be a message. It ends with its line, so that the
/// decoder refuses it without waiting for more.
void Text_scanner::take_json(char c) {
    if (state_ == State::line) {
        is_complete_ = c == '\n';
    } else if (c == '{' || c == '[') {
        take_bracket(true);
    } else if (c == '}' || c == ']') {
        take_bracket(false);
    } else if (depth_ == 0) {
        state_ = State::line;
    } else if (c == '"') {
        state_ = State::quoted;
    }
}

/// A quote opens a quoted string only at the beginning of a token. It closes one only where the
/// token ends.
void Text_scanner::take_list_text(char c) {
    if (c == ' ' || (c >= '\t' && c <= '\r' && c != '\v')) {
        state_ = State::between_tokens;
    } else if (c == '{' || c == '}') {
        take_bracket(c == '{');
    } else if (state_ == State::closing_quote) {
        state_ = State::quoted;
        take_quoted(c);
    } else if (state_ == State::between_tokens) {
        state_ = c == '"' ? State::quoted : State::word;
    }
}

/// A bracket that closes nothing also ends the message. The decoder refuses it.
void Text_scanner::take_bracket(bool opens) {
    state_ = State::between_tokens;
    if (opens) {
        ++depth_;
    } else {
        is_complete_ = depth_ <= 1;
        --depth_;
    }
}
