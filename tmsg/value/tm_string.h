/// A text of at most 65,535 bytes of any kind, zeros included.
#pragma once

#include <string>
#include <string_view>

#include "tmsg/value/tm_catalog.h"
#include "tmsg/value/tm_text.h"
#include "tmsg/value/tm_value.h"
#include "tmsg/value/tm_visitor.h"

class TMSG_API Tm_string : public Tm_value {
public:
    /// The most bytes of a string or name in the wire form.
    static constexpr unsigned int MAX_LENGTH = 65535;

    /// Copies the text. Also adds it to the catalogue, unless that is null.
    /// Throws Tm_out_of_range_exception for a text longer than MAX_LENGTH, and then adds no name.
    explicit Tm_string(std::string_view text, Tm_catalog<std::string>* catalog = nullptr);
    Tm_string(Tm_string const& other);

    Tm_string* clone() const override;
    ~Tm_string() override;
    bool equals(Tm_value const& other) const override;
    TMV get_value_type() const override;
    bool accept(Tm_visitor& visitor) const override;

    /// Returns the text, which is valid as long as the value lives. A zero byte follows it in
    /// memory.
    std::string_view value() const { return tm_text_view(text_); }

    /// Checks the length of a text. Throws Tm_out_of_range_exception when it is over MAX_LENGTH.
    /// Returns `text` itself when the catalogue is null. Otherwise adds the text to the catalogue,
    /// unless it is there already, and returns the catalogue's string.
    static std::string const& validate_string_length(std::string const& text,
                                                     Tm_catalog<std::string>* catalog);

    using Begin_event = bool (Tm_visitor::*)(unsigned int);
    using Piece_event = bool (Tm_visitor::*)(char const*, unsigned int);
    using File_begin_event = bool (Tm_visitor::*)(int, unsigned int);
    using File_piece_event = bool (Tm_visitor::*)(int, std::string const&, unsigned int);

    /// Sends any bytes as a begin event with their number, then as piece events of 128 bytes each.
    /// The last piece may be shorter. Returns false when the visitor refuses an event. The next
    /// call with the same visitor then goes on from there.
    static bool accept_generic_buffer(char const* data, unsigned int length, Tm_visitor& visitor,
                                      Begin_event begin, Piece_event piece);
    /// Does the same for a file whose bytes the visitor reads itself.
    static bool accept_file(int fd, std::string const& path, unsigned int length,
                            Tm_visitor& visitor, File_begin_event begin, File_piece_event piece);

private:
    friend class Tm_new_value;
    friend class Tm_value_container;

    static void check_length(std::string_view text);
    struct In_place {};
    /// Makes a value in a slot of a container. The container owns the text, so it must not run the
    /// destructor of the value.
    Tm_string(In_place, char const* text) : text_(text) {}

    char const* text_;  ///< see tm_text.h
};
