/// The file into which the bytes of a received file value go: a new temporary one, empty, readable
/// and writable by its owner alone. It is removed on destruction unless it is kept.
#pragma once

#include <string>

#include "tmsg/value/tm_descriptor.h"
#include "tmsg/value/tm_mapping.h"

class Tm_received_file {
public:
    /// For so many bytes. Throws Tm_file_open_exception or Tm_file_mapping_exception.
    explicit Tm_received_file(unsigned int length);
    Tm_received_file(Tm_received_file const&) = delete;
    Tm_received_file& operator=(Tm_received_file const&) = delete;
    ~Tm_received_file();

    /// The next bytes. False: there is no room for them.
    bool write(char const* data, unsigned int length);
    std::string const& path() const { return path_; }
    void keep() { kept_ = true; }

private:
    void map();
    bool reserve(unsigned int end);

    unsigned int length_;
    std::string path_;
    Tm_descriptor descriptor_;
    bool kept_ = false;
    unsigned int written_ = 0;
    unsigned int reserved_ = 0;  ///< bytes that have room on the disk
    Tm_mapping mapping_;  ///< of the whole file while it is small enough; else pieces are written
};
