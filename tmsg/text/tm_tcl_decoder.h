/// Reads list text (see Tm_tcl_encoder) and builds the message, or the values, that it describes:
///
///     Tm_tcl_decoder decoder;
///     decoder.decode(text);
///     if (decoder.error().empty()) use(decoder.get_value());
///
/// More is accepted than the encoder writes: blanks of any kind between words, backslash escapes
/// in quoted strings, and byte strings and files as length and raw contents. The first error ends
/// the text. Besides std::bad_alloc only the creator throws:
/// Tm_file_open_exception and Tm_file_mapping_exception for the temporary file of a file value,
/// Tm_type_mismatch_exception for a "catalog" in the first struct of a message that is no array of
/// strings. Their text becomes the error text too.
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
    class Word;

    explicit Tm_tcl_decoder(Tm_limits const& limits = {});
    Tm_tcl_decoder(Tm_tcl_decoder const&) = delete;
    Tm_tcl_decoder& operator=(Tm_tcl_decoder const&) = delete;
    virtual ~Tm_tcl_decoder();

    /// Reads the whole text, which is not the decoder's own; what the text before gave is
    /// destroyed.
    void decode(std::string const& text);

    /// Empty while all is well.
    std::string const& error() const { return error_; }
    /// The first value of the text, which stays the decoder's until the next text; null after an
    /// error and before the first text. A text without values throws Tm_out_of_range_exception.
    Tm_value* get_value() const;
    /// All values of the text, in order; null before the first text.
    Tm_array const* values() const { return result_.get(); }
    /// The paths of the files that were made for file values, for who drops the values.
    std::vector<std::string> const& received_files() const;

    /// Ends the decoding.
    void set_error(std::string const& text);
    /// Begins anew.
    void init();

private:
    /// A member's value differs from others by the brace that must close behind it.
    enum class State { expects_value, expects_member_value, expects_member, failed };
    using Begin_event = bool (Tm_creator::*)(unsigned int);
    using Piece_event = bool (Tm_creator::*)(char const*, unsigned int);
    struct Keyword;
    class Keywords;
    struct Contents;

    // None after an error. What is expected is named by one text or in parts.
    template <class... Part>
    Word get_additional_token(Tokenizer& tokens, Part const&... what);
    template <class... Part>
    Word get_possibly_quoted_string(Tokenizer& tokens, Part const&... what);
    Word unescape_string(Word text);
    bool get_brace(Tokenizer& tokens, char brace);

    // Each reads what its keyword begins.
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
    void read_end();

    template <auto Event, class... Datum>
    bool emit(Datum... datum);
    bool put_text(std::string_view text);
    bool put_name(std::string_view name);
    bool emit_pieces(Contents const& kind, std::string_view bytes);
    void open_group(Tokenizer& tokens, State inside);
    void next_state_after_group(Tokenizer& tokens);
    void next_state_after_value(Tokenizer& tokens);
    template <class... Part>
    [[gnu::cold]] bool fail(Part const&... text);

    Tm_limits limits_;
    State state_ = State::failed;
    std::string error_;
    Tm_owned<Tm_array> result_;
    Tm_owned<Tm_own_creator> creator_;
    std::string unescaped_;  ///< the last string that held a backslash
};
