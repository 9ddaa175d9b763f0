/// Reads the wire form, from bytes and from hexadecimal text.
#pragma once

#include <tmsg/tmsg.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "forms/form_reader.h"
#include "forms/place.h"
#include "io/input.h"

/// Makes bytes from pairs of hexadecimal digits, with blanks anywhere.
class Hex_source : public Byte_source {
public:
    explicit Hex_source(Input& input) : input_(input) {}

    /// Throws Damage for any other character, and for an odd number of digits.
    std::string_view peek() override;
    void take(std::size_t size) override;
    std::size_t offset() const override { return offset_; }

private:
    bool read_digits();

    Input& input_;
    Place place_ = at_line(1, 1);
    std::string bytes_;
    std::size_t taken_ = 0;
    std::size_t offset_ = 0;
    int high_ = -1;  ///< the first digit of a pair, or -1
};

/// Reads messages of the wire form, one after another.
class Wire_reader : public Form_reader {
public:
    Wire_reader(Byte_source& source, Tm_limits const& limits);

    std::unique_ptr<Message> next(Temporary_files& files, Wire_sink const& sink) override;

private:
    void feed_next(std::string_view bytes, Wire_sink const& sink);

    Byte_source& source_;
    Tm_bin_decoder decoder_;
};

/// Reads messages of the wire form from hexadecimal text.
class Hex_reader : public Form_reader {
public:
    Hex_reader(Input& input, Tm_limits const& limits) : source_(input), reader_(source_, limits) {}

    std::unique_ptr<Message> next(Temporary_files& files, Wire_sink const& sink) override;

private:
    Hex_source source_;
    Wire_reader reader_;
};

/// Returns the position of the damage in a message of the wire form that was `size` bytes long so
/// far: the end when no item is incomplete. Call it before finalize().
std::size_t place_of_end(Tm_bin_decoder_base const& decoder, std::size_t size);
