#include "tmsg/version.h"

char const* tmsg_version() noexcept { return TMSG_VERSION; }
