/// TMSG_API marks the classes and functions that the shared library exports. The library hides all
/// others. TMSG_LOCAL hides a class within an exported one. A program with the static library
/// defines TMSG_STATIC, as its CMake package and its pkg-config module do.
#pragma once

#define TMSG_LOCAL __attribute__((visibility("hidden")))
#ifdef TMSG_STATIC
#define TMSG_API
#else
#define TMSG_API __attribute__((visibility("default")))
#endif
