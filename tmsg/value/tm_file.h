/// A value whose content is a file on disk, open for the value's whole life. Files below the
/// mapping limit are mapped; of larger ones the visitor reads the bytes itself. The size is fixed
/// when the value is made. The file is never deleted. A clone opens the file again by its path.
#pragma once

#include <string>

#include "tmsg/value/tm_owners.h"
#include "tmsg/value/tm_value.h"

class Tm_descriptor;
class Tm_mapping;

class TMSG_API Tm_file : public Tm_value {
public:
    /// In units of 1,024,000 bytes: a file is mapped when its size has at most so many whole ones.
    static constexpr int MAX_MMAP_FILE_SIZE_MB = 10;

    /// Mode 0 opens an existing file for reading; any other opens for reading and writing, creating
    /// or truncating the file. Throws Tm_file_open_exception or Tm_file_mapping_exception.
    Tm_file(std::string const& path, unsigned int open_mode);
    /// Opens the file again; with a non-zero mode this truncates it, as making the value did.
    Tm_file(Tm_file const& other);

    Tm_file* clone() const override;
    ~Tm_file() override;
    /// Equality of path and size; contents are not compared.
    bool equals(Tm_value const& other) const override;
    TMV get_value_type() const override;
    bool accept(Tm_visitor& visitor) const override;

    std::string const& path() const { return path_; }
    /// The low 32 bits of the file's size in bytes.
    unsigned int size() const { return size_; }
    unsigned int open_mode() const { return open_mode_; }
    int descriptor() const;
    /// Null when none was made: for an empty file and for one above the limit.
    void const* mapping() const;
    /// accept() sends the bytes itself, from the mapping.
    bool in_memory() const { return in_memory_; }

    /// Whether a file of this size is mapped.
    static bool is_mapped_size(unsigned int size);

    /// Reads n bytes from where the descriptor stands. Returns n; or, at end of file or on an
    /// error, what the last read returned (0 or a negative number). A read that a signal interrupts
    /// is repeated.
    static long read_n(int fd, void* buffer, unsigned long n);

private:
    std::string path_;
    unsigned int open_mode_;
    unsigned int size_ = 0;
    bool in_memory_ = true;
    Tm_owned<Tm_descriptor> descriptor_;
    Tm_owned<Tm_mapping> mapping_;
};
