/// The CRC of the files that messages carry.
#pragma once

#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <stdexcept>
#include <string>

#include "tmsg/tmsg.h"

/// Returns the CRC of a file that is too large to be mapped. Reads the file through its descriptor.
inline uLong unmapped_crc(Tm_file const& file) {
    uLong crc = 0;
    unsigned char block[64 * 1024];
    for (std::size_t done = 0; done < file.size();) {
        std::size_t const wanted = std::min(sizeof block, file.size() - done);
        ssize_t const got = ::pread(file.descriptor(), block, wanted, static_cast<off_t>(done));
        if (got <= 0) throw std::runtime_error("cannot read all of " + file.path());
        crc = ::crc32_z(crc, block, static_cast<std::size_t>(got));
        done += static_cast<std::size_t>(got);
    }
    return crc;
}

/// Returns the CRC-32 of the bytes of the file.
inline unsigned int crc_of(Tm_file const& file) {
    auto const* const bytes = static_cast<unsigned char const*>(file.mapping());
    uLong const crc = bytes != nullptr ? ::crc32_z(0, bytes, file.size()) : unmapped_crc(file);
    return static_cast<unsigned int>(crc);
}
