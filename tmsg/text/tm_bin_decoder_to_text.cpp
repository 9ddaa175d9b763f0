#include "tmsg/text/tm_bin_decoder_to_text.h"

#include "tmsg/text/tm_text_creator.h"

Tm_bin_decoder_to_text::Tm_bin_decoder_to_text(long capacity, FILE* stream, Tm_limits const& limits,
                                               unsigned long max_text)
    : Tm_bin_decoder_base(capacity, limits), stream_(stream), max_text_(max_text) {
    limit_each_value();
    Tm_bin_decoder_to_text::init();
}

Tm_bin_decoder_to_text::~Tm_bin_decoder_to_text() = default;

void Tm_bin_decoder_to_text::init() {
    auto creator = std::make_unique<Tm_text_creator>(stream_, limits(), max_text_);
    Tm_bin_decoder_base::init();
    creator_ = std::move(creator);
}

/// A rejected piece of the very last item is reported here, for no item follows it.
void Tm_bin_decoder_to_text::finalize() {
    Tm_bin_decoder_base::finalize();
    if (error().empty() && !creator_->error().empty()) set_error(creator_->error());
}
