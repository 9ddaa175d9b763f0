/// A file that is being received. It is a new file under /tmp, which only its owner may read and
/// write. The destructor removes it, unless keep() was called or another process made it: a child
/// process that destroys its copy removes nothing. A file up to the mapping limit is written
/// through a mapping, and room on the disk is reserved as bytes arrive. A larger file is written in
/// large steps.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tmsg/value/internal/tm_descriptor.h"

class Tm_received_file {
public:
    /// Makes a file for this many bytes. Throws Tm_file_open_exception or Tm_file_mapping_exception
    /// when the file cannot be made.
    explicit Tm_received_file(unsigned int length);
    Tm_received_file(Tm_received_file const&) = delete;
    Tm_received_file& operator=(Tm_received_file const&) = delete;
    ~Tm_received_file();

    std::string const& path() const { return path_; }

    /// Adds bytes, in all at most the announced number. Returns false when the disk has no room or
    /// writing failed, now or before; the file is then of no use. After the last byte the file has
    /// its whole content.
    bool write(char const* data, unsigned int length);
    /// Makes the destructor leave the file.
    void keep() { kept_ = true; }

private:
    bool map();
    bool reserve(unsigned int end);
    bool gather(char const* data, std::size_t length);
    void make_room(std::size_t size);
    bool write_behind_gathered(char const* data, std::size_t length);

    std::string path_;
    Tm_descriptor descriptor_;
    unsigned int length_;
    unsigned int taken_ = 0;
    unsigned int reserved_ = 0;   ///< bytes that have room on the disk, where there is a mapping
    Tm_mapping mapping_;          ///< of the whole file; none of a larger one
    std::vector<char> gathered_;  ///< taken bytes that are not yet in a larger file
    bool kept_ = false;
};

/// Removes a received file if this process made it: a child process does not own the files of its
/// parent. Returns false, and sets errno, when the file could not be removed.
bool tm_remove_received_file(std::string const& path) noexcept;
