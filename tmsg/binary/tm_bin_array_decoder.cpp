#include "tmsg/binary/tm_bin_array_decoder.h"

#include "tmsg/composite/tm_array.h"
#include "tmsg/creator/tm_own_creator.h"

Tm_bin_array_decoder::Tm_bin_array_decoder(long capacity, Tm_limits const& limits)
    : Tm_bin_decoder_base(capacity, limits) {
    limit_each_value();
    Tm_bin_array_decoder::init();
}

Tm_bin_array_decoder::~Tm_bin_array_decoder() { creator_.reset(); }

void Tm_bin_array_decoder::init() {
    auto array = std::make_unique<Tm_array>();
    auto creator = std::make_unique<Tm_own_creator>(array.get(), limits());
    Tm_bin_decoder_base::init();
    build(std::move(creator));
    array_ = std::move(array);
}

std::vector<std::string> const& Tm_bin_array_decoder::received_files() const {
    return static_cast<Tm_creator const&>(*creator_).received_files();
}
