/// Converts bytes to base64 and back, for the peers whose values hold only text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "workloads.h"

namespace peers {

std::string to_base64(BytesView bytes);

std::vector<unsigned char> from_base64(std::string_view text);

}  // namespace peers
