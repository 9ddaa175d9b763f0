/// Reads list text (see Tm_tcl_encoder) and builds the message, or the values, that it describes:
///
///     Tm_tcl_decoder decoder;
///     decoder.decode(text);
///     if (decoder.error().empty()) use(decoder.get_value());
///
/// More is accepted than the encoder writes: blanks of any kind between words, backslash escapes
/// in quoted strings, and byte strings and files as length and raw contents. The first error ends
/// the text. Exceptions, but for std::bad_alloc, come from the creator alone:
/// Tm_file_open_exception and Tm_file_mapping_exception for the temporary file of a file value,
/// Tm_type_mismatch_exception for a "catalog" in the first struct of a message that is no array of
/// strings. Their text becomes the error text too.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/value/tm_limits.h"

class Tm_array;
class Tm_creator;
class Tm_value;

class TMSG_API Tm_tcl_decoder {
public:
    class Tokenizer;
    class IgnoreMap;

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
    enum class State { expects_value, expects_member, failed };
    using Word = std::optional<std::string_view>;
    using Begin_event = bool (Tm_creator::*)(unsigned int);
    using Piece_event = bool (Tm_creator::*)(char const*, unsigned int);
    struct Keyword;
    struct Contents;

    // Words; none after an error.
    Word get_additional_token(Tokenizer& tokens, std::string_view what);
    Word get_additional_token_with_whitespace(Tokenizer& tokens, std::string_view what);
    Word get_possibly_quoted_string(Tokenizer& tokens, std::string_view what);
    Word add_to_possibly_quoted_string(std::string_view token, Tokenizer& tokens,
                                       std::string_view what);
    Word unescape_string(std::string_view text);
    bool get_brace(Tokenizer& tokens, char brace);
    bool get_left_brace(Tokenizer& tokens) { return get_brace(tokens, '{'); }
    bool get_right_brace(Tokenizer& tokens) { return get_brace(tokens, '}'); }

    // Each reads what its keyword begins.
    void read_value(std::string_view token, Tokenizer& tokens);
    void read_member(std::string_view token, Tokenizer& tokens);
    void read_request(Tokenizer& tokens);
    void read_response(Tokenizer& tokens);
    void read_fault(Tokenizer& tokens);
    void read_method_name(Tokenizer& tokens);
    void read_struct(Tokenizer& tokens);
    void read_array(Tokenizer& tokens);
    void read_binary(Tokenizer& tokens);
    void read_file(Tokenizer& tokens);
    void read_string(Tokenizer& tokens);
    void read_bool(Tokenizer& tokens);
    template <class Number>
    void read_number(Tokenizer& tokens);
    void read_closing_brace(Tokenizer& tokens);
    void read_contents(Contents const& kind, Tokenizer& tokens);
    void read_end();

    template <auto Event, class... Datum>
    bool emit(Datum... datum);
    bool emit_pieces(Contents const& kind, std::string_view bytes);
    void next_state_after_value(Tokenizer& tokens);
    bool fail(std::string const& text);

    Tm_limits limits_;
    State state_ = State::failed;
    std::string error_;
    std::unique_ptr<Tm_array> result_;
    std::unique_ptr<Tm_creator> creator_;
    std::string unescaped_;  ///< the last string that held a backslash
};
