/// TMSG_API marks the classes and functions that the shared library exports. The library hides all
/// others.
#pragma once

#define TMSG_API __attribute__((visibility("default")))
