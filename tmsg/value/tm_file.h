/// A value whose content is a file on disk. The value keeps the file open until it is destroyed,
/// and never deletes the file. It notes the size of the file when it is made.
/// A file below the mapping limit is mapped. The visitor reads the bytes of a larger file itself.
/// A clone opens the file again by its path.
#pragma once

#include <string>

#include "tmsg/value/tm_owners.h"
#include "tmsg/value/tm_value.h"

class Tm_descriptor;
class Tm_mapping;

class TMSG_API Tm_file : public Tm_value {
public:
    /// The mapping limit, in units of 1,024,000 bytes. A file is mapped when it has at most this
    /// many whole units, so when it is smaller than 11,264,000 bytes.
    static constexpr int MAX_MMAP_FILE_SIZE_MB = 10;

    /// Mode 0 opens an existing file for reading. Any other mode makes the file, or empties it when
    /// it exists, and opens it for reading and writing.
    /// Throws Tm_file_open_exception or Tm_file_mapping_exception.
    Tm_file(std::string const& path, unsigned int open_mode);
    /// Opens the file again in the same mode, as clone() does. A mode other than 0 empties the file
    /// again. Throws the same exceptions.
    Tm_file(Tm_file const& other);

    Tm_file* clone() const override;
    ~Tm_file() override;
    /// Compares the paths and sizes, not the contents.
    bool equals(Tm_value const& other) const override;
    TMV get_value_type() const override;
    bool accept(Tm_visitor& visitor) const override;

    std::string const& path() const { return path_; }
    /// Returns the low 32 bits of the file's size in bytes.
    unsigned int size() const { return size_; }
    unsigned int open_mode() const { return open_mode_; }
    /// Returns the file descriptor, which the value owns. It is above 2.
    int descriptor() const;
    /// Returns the mapped bytes, which the value owns. Returns null for an empty file and for a
    /// file that is not below the mapping limit.
    void const* mapping() const;
    /// Returns true when accept() passes the bytes to the visitor, false when it passes the
    /// descriptor.
    bool in_memory() const { return in_memory_; }

    /// Reads n bytes from the position of the descriptor and returns n. Returns 0 when the file
    /// ends earlier, and a negative number on an error. Repeats a read that a signal interrupts.
    static long read_n(int fd, void* buffer, unsigned long n);

private:
    friend class Tm_received_file;

    /// Returns whether `size`, in bytes, is below the mapping limit.
    static bool is_mapped_size(unsigned int size);

    std::string path_;
    unsigned int open_mode_;
    unsigned int size_ = 0;
    bool in_memory_ = true;
    Tm_owned<Tm_descriptor> descriptor_;
    Tm_owned<Tm_mapping> mapping_;
};
