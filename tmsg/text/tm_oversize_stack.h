/// Counts the containers that were opened when nothing was written any more.
#pragma once

#include "tmsg/export.h"

class TMSG_API Tm_oversize_stack {
public:
    void push() { ++depth_; }
    /// False: the container that ends was opened before.
    bool pop() { return depth_ != 0 && depth_-- != 0; }

private:
    unsigned int depth_ = 0;
};
