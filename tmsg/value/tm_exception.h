/// The exception classes of the library. There are no error codes: what() returns one finished,
/// readable text. Decoders and creators do not throw for bad input; they keep an error text.
#pragma once

#include <exception>
#include <string>

#include "tmsg/export.h"
#include "tmsg/value/tm_type_code.h"

class TMSG_API Tm_exception : public std::exception {
public:
    Tm_exception();
    explicit Tm_exception(std::string const& text);
    Tm_exception(Tm_exception const&) = default;
    Tm_exception& operator=(Tm_exception const&) = default;
    ~Tm_exception() override;

    char const* what() const noexcept override;

protected:
    std::string message_;
};

/// A position, group, size or length is outside its range. `low` and `high` are allowed values.
class TMSG_API Tm_out_of_range_exception : public Tm_exception {
public:
    Tm_out_of_range_exception(char const* label, int value, int low, int high);
    /// Uses the label "index".
    Tm_out_of_range_exception(int value, int low, int high);

private:
    void construct(char const* label, int value, int low, int high);
};

/// A value was read as another type, or a message that is not a fault was used as a fault.
class TMSG_API Tm_type_mismatch_exception : public Tm_exception {
public:
    Tm_type_mismatch_exception(TMV actual, TMV requested);
    Tm_type_mismatch_exception(Tm_message_kind::TMT actual, Tm_message_kind::TMT requested);
};

class TMSG_API Tm_name_not_found_exception : public Tm_exception {
public:
    explicit Tm_name_not_found_exception(std::string const& name);
};

/// A table of enumeration values lacks a name or a number. The text has no example when `example`
/// or `first_name` is null.
class TMSG_API Tm_enum_not_found_exception : public Tm_exception {
public:
    Tm_enum_not_found_exception(char const* name, char const* example);
    Tm_enum_not_found_exception(int value, char const* first_name);
};

class TMSG_API Tm_file_open_exception : public Tm_exception {
public:
    explicit Tm_file_open_exception(std::string const& path);
};

class TMSG_API Tm_file_mapping_exception : public Tm_exception {
public:
    explicit Tm_file_mapping_exception(std::string const& path);
};

class TMSG_API Tm_file_read_exception : public Tm_exception {
public:
    explicit Tm_file_read_exception(std::string const& path);
};
