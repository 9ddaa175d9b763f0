/// The version of tmsg: TMSG_VERSION is that of the headers, tmsg_version() that of the library.
/// Both are the same unless a program runs with another library than it was compiled for.
#pragma once

#include "tmsg/export.h"

#define TMSG_VERSION_MAJOR 0
#define TMSG_VERSION_MINOR 2
#define TMSG_VERSION_PATCH 0
#define TMSG_VERSION "0.2.0"

/// One number for comparisons:
///
///     #if TMSG_VERSION_NUMBER >= TMSG_MAKE_VERSION(0, 2, 0)
#define TMSG_MAKE_VERSION(major, minor, patch) ((major)*1000000 + (minor)*1000 + (patch))
#define TMSG_VERSION_NUMBER \
    TMSG_MAKE_VERSION(TMSG_VERSION_MAJOR, TMSG_VERSION_MINOR, TMSG_VERSION_PATCH)

/// Returns the version of the library that the program runs with, such as "0.2.0".
extern "C" TMSG_API char const* tmsg_version() noexcept;
