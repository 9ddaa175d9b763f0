/// The whole text of a value or a message in one call:
///
///     std::cout << tm_to_text(message) << '\n';  // request {name "add" struct {} struct {...} }
///     std::cout << tm_to_json(message) << '\n';  // {"name": "add", "request": [{}, {"a": 1}]}
///
/// The texts are those of Tm_tcl_encoder and Tm_json_encoder, without a size limit.
#pragma once

#include <string>

#include "tmsg/export.h"

class Tm_value;

TMSG_API std::string tm_to_text(Tm_value const& value);
TMSG_API std::string tm_to_json(Tm_value const& value);
