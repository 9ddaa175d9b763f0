/// Prints the binary form as an indented dump (see Tm_text_creator) instead of building values.
/// Names by index cannot be told from names of that length: the bytes of such a message are
/// misread. The limit on the bytes of a message starts anew with each top-level value.
#pragma once

#include <cstdio>

#include "tmsg/binary/tm_bin_decoder_base.h"
#include "tmsg/value/tm_limits.h"

class TMSG_API Tm_bin_decoder_to_text : public Tm_bin_decoder_base {
public:
    /// The stream stays the caller's. More than `max_text` bytes of text since init() are an error.
    Tm_bin_decoder_to_text(long capacity, FILE* stream, Tm_limits const& limits = {},
                           unsigned long max_text = tm_no_text_limit);
    ~Tm_bin_decoder_to_text() override;

    void init() override;
    void finalize() override;

private:
    FILE* stream_;
    unsigned long max_text_;
};
