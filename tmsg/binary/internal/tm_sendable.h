/// The checks that prevent an encoder from sending bytes that nobody can decode.
#pragma once

#include <memory>

#include "tmsg/binary/tm_bin_encoder.h"
#include "tmsg/fwd.h"
#include "tmsg/value/tm_value.h"

/// Throws Tm_out_of_range_exception, with the label "String length", when a method name or a member
/// name anywhere in the value is longer than 65,535 bytes.
void tm_check_name_lengths(Tm_value const& value);

/// Does the same for a message, and checks its wire indexes. Returns null when a receiver reads the
/// right names. Otherwise returns a copy to be sent in the place of the message: indexed anew, or
/// without indexes and name tables where it cannot be indexed. Throws what copying throws.
std::unique_ptr<Message> tm_corrected_copy(Message const& message);

/// An encoder that throws Tm_file_read_exception for a file that ends before its announced length.
class Tm_whole_file_encoder : public Tm_bin_encoder {
public:
    explicit Tm_whole_file_encoder(int chunk_size, int header_size = 0);

    using Tm_bin_encoder::visit_file_continue;
    bool visit_file_continue(int fd, std::string const& path, unsigned int length) override;
};
