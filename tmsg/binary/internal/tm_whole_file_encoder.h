/// An encoder that refuses a file which ends before its announced length: nobody could decode the
/// bytes.
#pragma once

#include "tmsg/binary/tm_bin_encoder.h"

class Tm_whole_file_encoder : public Tm_bin_encoder {
public:
    explicit Tm_whole_file_encoder(int chunk_size, int header_size = 0);

    using Tm_bin_encoder::visit_file_continue;
    bool visit_file_continue(int fd, std::string const& path, unsigned int length) override;
};
