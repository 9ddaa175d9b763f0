/// Reads the JSON that Tm_typed_json_encoder writes, or that was written by hand, and builds the
/// message or value that it describes:
///
///     Tm_typed_json_decoder decoder;
///     if (decoder.decode(R"({"request": "add", "body": {"a": 1, "b": {"$int8": -5}}})")) {
///         use(decoder.get_value());
///     } else {
///         report(decoder.error_line(), decoder.error_column(), decoder.error());
///     }
///
/// docs/typed-json.md describes the form.
/// The decoder stops at the first error. decode() and decode_value() throw only std::bad_alloc and
/// these exceptions. The text of an exception also becomes the error text.
///  - Tm_file_open_exception, Tm_file_mapping_exception: the file of a file value cannot be made
///  - Tm_type_mismatch_exception: the name table of a message, the member "catalog" of its first
///    struct, is not an array of strings
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/value/tm_limits.h"
#include "tmsg/value/tm_owners.h"

class Tm_array;
class Tm_own_creator;
class Tm_value;

class TMSG_API Tm_typed_json_decoder {
public:
    explicit Tm_typed_json_decoder(Tm_limits const& limits = {});
    Tm_typed_json_decoder(Tm_typed_json_decoder const&) = delete;
    Tm_typed_json_decoder& operator=(Tm_typed_json_decoder const&) = delete;
    ~Tm_typed_json_decoder();

    /// Reads a text that is one message, or one value of any kind. Returns whether there is no
    /// error. First destroys the last value and clears the error. The text must not be a string
    /// that this decoder owns.
    /// Among values, an object is a struct. A message is an object with the tag "$message".
    bool decode(std::string const& text);
    bool decode_value(std::string const& text);

    /// Returns the error text, which is empty when there is no error.
    std::string const& error() const { return error_; }
    /// Return where the token begins that was refused, counted from 1, columns in bytes. Without an
    /// error return 0.
    int error_line() const { return error_line_; }
    int error_column() const { return error_column_; }

    /// Returns the message or value. The decoder owns it. It is valid until the next text. Returns
    /// null after an error and before the first text.
    Tm_value* get_value() const;
    /// Returns the paths of the files that were made for file values. The decoder does not remove
    /// these files: pass the paths to tm_remove_received_files().
    std::vector<std::string> const& received_files() const;

private:
    bool read(std::string_view text, bool is_message);
    void read_tokens(std::string_view text, bool is_message);
    void set_error(std::string text, std::string_view before);

    Tm_limits limits_;
    std::string error_;
    int error_line_ = 0;
    int error_column_ = 0;
    Tm_owned<Tm_array> result_;
    Tm_owned<Tm_own_creator> creator_;
};
