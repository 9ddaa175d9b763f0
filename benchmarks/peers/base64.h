/// For the peers whose values hold text only.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "workloads.h"

namespace peers {

std::string to_base64(BytesView bytes);

std::vector<unsigned char> from_base64(std::string_view text);

}  // namespace peers
