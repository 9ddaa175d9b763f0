/// The exception classes of the library. There are no error codes: what() returns a text for
/// people, and path() the place in a tree where the failure knows it:
///
///     try {
///         use(message.get_member_int32(Message::TMG_BODY, "count"));
///     } catch (Tm_exception const& failure) {
///         report(failure.what(), failure.path());  // "count not found in struct", "body.count"
///     }
///
/// Decoders and creators keep an error text for bad input, and do not throw.
/// In the texts below, a word in capitals means the argument of that name.
#pragma once

#include <exception>
#include <string>
#include <string_view>

#include "tmsg/export.h"
#include "tmsg/value/tm_type_code.h"

/// The base class. It is also thrown itself, for example for a null pointer.
class TMSG_API Tm_exception : public std::exception {
public:
    /// Makes an empty text.
    Tm_exception();
    /// Copies the text.
    explicit Tm_exception(std::string const& text);
    Tm_exception(Tm_exception const&) = default;
    Tm_exception& operator=(Tm_exception const&) = default;
    ~Tm_exception() override;

    /// Returns the text, which is valid as long as this object lives.
    char const* what() const noexcept override;
    /// Returns the place of the value in its tree, as tm_path.h writes it: "body.count" from a
    /// getter of a message. The path is empty where the place is not known.
    std::string const& path() const noexcept { return path_; }
    /// Both add a step in front of the path, unless there is no memory.
    void add_name_before(std::string_view name) noexcept;
    void add_position_before(int position) noexcept;
    /// Puts the path and a colon in front of the text, unless there is no memory.
    void add_path_to_text() noexcept;

protected:
    std::string message_;

private:
    void add_before(std::string_view name, int position) noexcept;

    std::string path_;
};

/// A position, group, size or length is outside the range from `low` to `high`, both included.
class TMSG_API Tm_out_of_range_exception : public Tm_exception {
public:
    /// Makes the text "LABEL VALUE out of range LOW..HIGH".
    Tm_out_of_range_exception(char const* label, int value, int low, int high);
    /// Does the same with the label "index".
    Tm_out_of_range_exception(int value, int low, int high);
    /// Copies the text.
    explicit Tm_out_of_range_exception(std::string const& text);

private:
    void construct(char const* label, int value, int low, int high);
};

/// A value was read as another type, or a message that is not a fault was used as a fault.
class TMSG_API Tm_type_mismatch_exception : public Tm_exception {
public:
    /// Makes the text "value of type ACTUAL accessed as type REQUESTED", with the names that
    /// Tm_value::tmv_to_string() returns.
    Tm_type_mismatch_exception(TMV actual, TMV requested);
    /// Does the same with the names that Tm_message_kind::tmt_to_string() returns.
    Tm_type_mismatch_exception(Tm_message_kind::TMT actual, Tm_message_kind::TMT requested);
};

/// A struct has no member with this name.
class TMSG_API Tm_name_not_found_exception : public Tm_exception {
public:
    /// Makes the text "NAME not found in struct".
    explicit Tm_name_not_found_exception(std::string const& name);
};

/// A table of enumeration values lacks a name or a number.
class TMSG_API Tm_enum_not_found_exception : public Tm_exception {
public:
    /// Makes the text "NAME not a valid enum name: an example is EXAMPLE". When `example` is null,
    /// the text ends before the colon.
    Tm_enum_not_found_exception(char const* name, char const* example);
    /// Makes the text "VALUE not a valid enum value: for enum starting with FIRST_NAME". When
    /// `first_name` is null, the text ends before the colon.
    Tm_enum_not_found_exception(int value, char const* first_name);
};

/// A file cannot be opened or made.
class TMSG_API Tm_file_open_exception : public Tm_exception {
public:
    /// Makes the text "failed to open PATH".
    explicit Tm_file_open_exception(std::string const& path);
};

/// An open file cannot be mapped, for example because it is a folder.
class TMSG_API Tm_file_mapping_exception : public Tm_exception {
public:
    /// Makes the text "failed to map PATH".
    explicit Tm_file_mapping_exception(std::string const& path);
};

/// A file that is being sent cannot be read, or has become shorter.
class TMSG_API Tm_file_read_exception : public Tm_exception {
public:
    /// Makes the text "failed to read from PATH".
    explicit Tm_file_read_exception(std::string const& path);
};
