/// TMSG_API marks what the shared library exports; everything else in it is hidden.
#pragma once

#define TMSG_API __attribute__((visibility("default")))
