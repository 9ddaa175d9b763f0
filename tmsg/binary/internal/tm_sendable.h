/// The checks that prevent an encoder from sending bytes that nobody can decode.
#pragma once

#include "tmsg/binary/tm_bin_encoder.h"
#include "tmsg/value/tm_value.h"

/// Throws Tm_out_of_range_exception, with the label "String length", when a method name or a member
/// name anywhere in the value is longer than 65,535 bytes.
void tm_check_name_lengths(Tm_value const& value);

/// An encoder that throws Tm_file_read_exception for a file that ends before its announced length.
class Tm_whole_file_encoder : public Tm_bin_encoder {
public:
    explicit Tm_whole_file_encoder(int chunk_size, int header_size = 0);

    using Tm_bin_encoder::visit_file_continue;
    bool visit_file_continue(int fd, std::string const& path, unsigned int length) override;
};
