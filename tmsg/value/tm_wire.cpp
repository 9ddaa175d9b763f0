#include "tmsg/value/tm_wire.h"

#include <algorithm>
#include <iterator>

int tm_tag_size(unsigned char tag) {
    static signed char const sizes[] = {1, -1, 1, 1, 1, 1, 1, -1, -1, -1, -1,
                                        9, 2,  2, 2, 3, 3, 5, 5,  9,  9,  -1};
    unsigned int const index = tag & 0x7FU;
    return index < std::size(sizes) ? sizes[index] : -1;
}

int tm_head_size(unsigned char tag) {
    switch (tag) {
        case TM_TAG_MEMBER:
            return 4;
        case TM_TAG_METHOD_NAME:
        case TM_TAG_STRING:
            return 3;
        case TM_TAG_BINARY:
        case TM_TAG_FILE:
            return 5;
        default:
            return std::max(tm_tag_size(tag), 1);
    }
}
