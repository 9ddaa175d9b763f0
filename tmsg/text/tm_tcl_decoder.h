/// Reads list text (see Tm_tcl_encoder) and builds the message, or the values, that it describes:
///
///     Tm_tcl_decoder decoder;
///     decoder.decode(text);
///     if (decoder.error().empty()) use(decoder.get_value());
///
/// It accepts more than the encoder writes: blanks of any kind between words, backslash escapes in
/// quoted strings, and byte strings and files as length and raw contents.
/// It stops at the first error. decode() throws only std::bad_alloc and these exceptions. The text
/// of an exception also becomes the error text.
///  - Tm_file_open_exception, Tm_file_mapping_exception: the file of a file value cannot be made
///  - Tm_type_mismatch_exception: the name table of a message, the member "catalog" of its first
///    struct, is not an array of strings
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/value/tm_limits.h"
#include "tmsg/value/tm_owners.h"

class Tm_array;
class Tm_creator;
class Tm_own_creator;
class Tm_value;

class TMSG_API Tm_tcl_decoder {
public:
    class Tokenizer;
    class IgnoreMap;

    explicit Tm_tcl_decoder(Tm_limits const& limits = {});
    Tm_tcl_decoder(Tm_tcl_decoder const&) = delete;
    Tm_tcl_decoder& operator=(Tm_tcl_decoder const&) = delete;
    virtual ~Tm_tcl_decoder();

    /// Reads the whole text. First destroys the values of the last text and clears the error. The
    /// text must not be a string that this decoder owns.
    void decode(std::string const& text);

    /// Returns the error text, which is empty when there is no error.
    std::string const& error() const { return error_; }
    /// Return where the word begins that was refused, counted from 1, columns in bytes. When a
    /// value is not allowed where it stands, that word is its type. When a word is missing, the
    /// place is the end of the text. Without an error, and after set_error(), return 0.
    int error_line() const { return error_line_; }
    int error_column() const { return error_column_; }
    /// Returns the first value of the text. The decoder owns it. It is valid until the next
    /// decode(). Returns null after an error and before the first decode(). Throws
    /// Tm_out_of_range_exception after a text without values.
    Tm_value* get_value() const;
    /// Returns all values of the text, in order. The decoder owns them. They are valid until the
    /// next decode(). Returns null before the first decode().
    Tm_array const* values() const { return result_.get(); }
    /// Returns the paths of the files that were made for file values. The decoder does not remove
    /// these files: pass the paths to tm_remove_received_files().
    std::vector<std::string> const& received_files() const;

    /// Sets the error text, so that decoding ends.
    void set_error(std::string const& text);
    /// Destroys the values and clears the error.
    void init();

private:
    class Word;
    /// The value of a member has its own state, because a closing brace must follow it.
    enum class State { expects_value, expects_member_value, expects_member, failed };
    using Begin_event = bool (Tm_creator::*)(unsigned int);
    using Piece_event = bool (Tm_creator::*)(char const*, unsigned int);
    struct Keyword;
    class Keywords;
    struct Contents;

    // Each returns a word that converts to false after an error. `what` names the expected word in
    // the error text.
    template <class... Part>
    Word get_additional_token(Tokenizer& tokens, Part const&... what);
    template <class... Part>
    Word get_possibly_quoted_string(Tokenizer& tokens, Part const&... what);
    Word unescape_string(Word text);
    bool get_brace(Tokenizer& tokens, char brace);

    // Each reads the rest of the value that its keyword begins.
    void read_value(Tokenizer& tokens);
    void read_member(Tokenizer& tokens);
    void read_request(std::string_view keyword, Tokenizer& tokens);
    void read_response(std::string_view keyword, Tokenizer& tokens);
    void read_fault(std::string_view keyword, Tokenizer& tokens);
    void read_method_name(std::string_view keyword, Tokenizer& tokens);
    void read_struct(std::string_view keyword, Tokenizer& tokens);
    void read_array(std::string_view keyword, Tokenizer& tokens);
    void read_binary(std::string_view keyword, Tokenizer& tokens);
    void read_file(std::string_view keyword, Tokenizer& tokens);
    void read_string(std::string_view keyword, Tokenizer& tokens);
    void read_bool(std::string_view keyword, Tokenizer& tokens);
    template <class Number>
    void read_number(std::string_view keyword, Tokenizer& tokens);
    void read_closing_brace(Tokenizer& tokens);
    bool close_innermost(Tokenizer& tokens);
    void read_contents(Contents const& kind, Tokenizer& tokens);
    void read_text(std::string const& text, Tokenizer& tokens);
    void read_end(Tokenizer& tokens);
    void note_place(std::string_view text, Tokenizer const& tokens);

    template <auto Event, class... Datum>
    bool emit(Datum... datum);
    bool put_text(std::string_view text);
    bool put_name(std::string_view name);
    bool emit_pieces(Contents const& kind, std::string_view bytes);
    void open_brace(Tokenizer& tokens, State inside);
    void next_state_after_brace(Tokenizer& tokens);
    void next_state_after_value(Tokenizer& tokens);
    [[gnu::cold]] bool refuse_value();
    template <class... Part>
    [[gnu::cold]] bool fail(Part const&... text);

    Tm_limits limits_;
    State state_ = State::failed;
    std::string error_;
    int error_line_ = 0;
    int error_column_ = 0;
    char const* value_ =
        nullptr;                  ///< where the type of the last value begins, or its closing brace
    bool refuses_value_ = false;  ///< and not the last word
    Tm_owned<Tm_array> result_;
    Tm_owned<Tm_own_creator> creator_;
    std::string unescaped_;  ///< the last string that held a backslash
};
