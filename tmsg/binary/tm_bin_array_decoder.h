/// Decodes top-level values, one after another, into an array that stays the decoder's. The limit
/// on the bytes of a message starts anew with each of them.
#pragma once

#include <string>
#include <vector>

#include "tmsg/binary/tm_bin_decoder_base.h"
#include "tmsg/value/tm_owned.h"

class Tm_array;

class TMSG_API Tm_bin_array_decoder : public Tm_bin_decoder_base {
public:
    explicit Tm_bin_array_decoder(long capacity, Tm_limits const& limits = {});
    ~Tm_bin_array_decoder() override;

    /// Begins a new array.
    void init() override;

    Tm_array* array() const { return array_.get(); }

    /// The paths of the files that were received completely so far, for who drops the array.
    std::vector<std::string> const& received_files() const;

private:
    Tm_owned<Tm_array> array_;
};
