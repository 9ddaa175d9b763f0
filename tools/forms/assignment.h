/// Assignments: texts that name a value in a message and its new content.
///
///     body.count=251              keeps the type of the value; a new value is a string
///     body.count:int64_t=251      gives the type
///     body.weights:=[0.25, 1.5]   gives the value as typed JSON
///     body.photo:binary=@a.png    takes the bytes of a file
#pragma once

#include <tmsg/tmsg.h>

#include <memory>
#include <string>

#include "forms/reader.h"

class Assignment {
public:
    /// Reads PATH=VALUE, PATH:TYPE=VALUE or PATH:=JSON. The path ends before the first ":" or "="
    /// outside of quotes. Throws Failure for any other text, a path that does not parse and an
    /// unknown type.
    explicit Assignment(std::string const& text);

    /// Replaces or adds the value at the path below `root`, a message or a struct. Adds the files
    /// that it makes to `files`. Throws Failure for content that does not fit, and for a path that
    /// leads nowhere. Then `root` is as before.
    void apply(Tm_value& root, Temporary_files& files, Tm_limits const& limits) const;

private:
    enum class Kind { same_type, given_type, json };

    void split_path();
    TMV type_beside(Tm_value const* old) const;
    void place(Tm_value& parent, std::unique_ptr<Tm_value> value) const;

    Kind kind_ = Kind::same_type;
    TMV type_ = TMV_STRING;  ///< the given one, or that of a value in a new place
    std::string path_;
    std::string parent_;  ///< the path without its last step
    Tm_path_step last_;
    std::string content_;
};

/// Reads one value of typed JSON. Adds the files that it makes to `files`. Throws Failure with the
/// text "WHERE:LINE:COLUMN: TEXT", and what the decoder throws.
std::unique_ptr<Tm_value> read_typed_json(std::string const& where, std::string const& json,
                                          Temporary_files& files, Tm_limits const& limits);
