#include "tmsg/text/tm_to_text.h"

#include "tmsg/text/tm_json_encoder.h"
#include "tmsg/text/tm_tcl_encoder.h"
#include "tmsg/value/tm_value.h"

namespace {

template <class Encoder>
std::string text_of(Tm_value const& value) {
    Encoder encoder(Tm_text_encoder::NO_LIMIT);
    value.accept(encoder);
    return encoder.get_string();
}

}  // namespace

std::string tm_to_text(Tm_value const& value) { return text_of<Tm_tcl_encoder>(value); }

std::string tm_to_json(Tm_value const& value) { return text_of<Tm_json_encoder>(value); }
