/// Finds the ends of messages in a text that comes in pieces.
#pragma once

#include <cstddef>
#include <string_view>

#include "forms/form.h"

/// Returns the characters that the decoder of the form takes as blanks.
inline std::string_view blanks_of(Form form) {
    return form == Form::typed_json ? " \t\r\n" : " \t\r\n\f";
}

/// Finds the end of one message. It checks nothing else: the decoder of the form does that.
class Text_scanner {
public:
    /// `form` is tcl or typed_json.
    explicit Text_scanner(Form form) : is_json_(form == Form::typed_json) {}

    /// Looks at the next piece of the text, which begins with the first character that is no blank.
    /// Returns the number of its bytes that belong to the message.
    std::size_t scan(std::string_view piece);
    bool is_complete() const { return is_complete_; }

private:
    enum class State { between_tokens, word, quoted, closing_quote, line };

    void take(char c);
    void take_list_text(char c);
    void take_json(char c);
    void take_quoted(char c);
    void take_bracket(bool opens);

    bool is_json_;
    bool is_complete_ = false;
    bool is_escaped_ = false;  ///< a backslash stands before the next character
    State state_ = State::between_tokens;
    std::size_t depth_ = 0;
};
