/// A value whose content is a file on disk. The value keeps the file open until it is destroyed.
/// A file up to the mapping limit is mapped. The visitor reads the bytes of a larger file itself.
/// The value notes the size of the file when it is made, and never deletes the file.
/// A clone opens the file again by its path.
#pragma once

#include <string>

#include "tmsg/value/tm_owners.h"
#include "tmsg/value/tm_value.h"

class Tm_descriptor;
class Tm_mapping;

class TMSG_API Tm_file : public Tm_value {
public:
    /// The mapping limit in units of 1,024,000 bytes: a file is mapped when it holds at most this
    /// many whole units, that is, when it is smaller than 11,264,000 bytes.
    static constexpr int MAX_MMAP_FILE_SIZE_MB = 10;

    /// Mode 0 opens an existing file for reading. Any other mode creates or truncates the file and
    /// opens it for reading and writing.
    /// Throws Tm_file_open_exception or Tm_file_mapping_exception.
    Tm_file(std::string const& path, unsigned int open_mode);
    /// Opens the file again in the same mode. A mode other than 0 truncates the file again.
    Tm_file(Tm_file const& other);

    Tm_file* clone() const override;
    ~Tm_file() override;
    /// Compares path and size, not the contents.
    bool equals(Tm_value const& other) const override;
    TMV get_value_type() const override;
    bool accept(Tm_visitor& visitor) const override;

    std::string const& path() const { return path_; }
    /// The low 32 bits of the file's size in bytes.
    unsigned int size() const { return size_; }
    unsigned int open_mode() const { return open_mode_; }
    int descriptor() const;
    /// Returns null for an empty file and for a file above the mapping limit.
    void const* mapping() const;
    /// Returns true when accept() passes the bytes to the visitor, false when it passes the
    /// descriptor.
    bool in_memory() const { return in_memory_; }

    /// Returns whether a file of `size` bytes is mapped.
    static bool is_mapped_size(unsigned int size);

    /// Reads n bytes from the position of the descriptor and returns n. Returns 0 when the file
    /// ends before, and a negative number on an error. Repeats a read that a signal interrupts.
    static long read_n(int fd, void* buffer, unsigned long n);

private:
    std::string path_;
    unsigned int open_mode_;
    unsigned int size_ = 0;
    bool in_memory_ = true;
    Tm_owned<Tm_descriptor> descriptor_;
    Tm_owned<Tm_mapping> mapping_;
};
