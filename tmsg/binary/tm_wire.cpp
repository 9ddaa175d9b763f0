#include "tmsg/binary/tm_wire.h"

#include <iterator>

int tm_tag_size(unsigned char tag) {
    static signed char const sizes[] = {1, -1, 1, 1, 1, 1, 1, -1, -1, -1, -1,
                                        9, 2,  2, 2, 3, 3, 5, 5,  9,  9,  -1};
    unsigned int const index = tag & 0x7FU;
    return index < std::size(sizes) ? sizes[index] : -1;
}
