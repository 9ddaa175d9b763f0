/// Replaces the content of a file as a whole.
#pragma once

#include <string>

#include "io/system.h"

/// New content for a file. It is written to a temporary file in the same folder, which takes the
/// place of the file at the end. Until then the file stays as it is.
class Replacement {
public:
    /// Makes the temporary file, with the mode of the file and, where that is allowed, its owner.
    /// Follows symbolic links. Throws Failure, also when the path is no regular file.
    explicit Replacement(std::string const& path);
    Replacement(Replacement const&) = delete;
    Replacement& operator=(Replacement const&) = delete;
    /// Removes the temporary file, unless it took the place of the file.
    ~Replacement();

    /// Returns the descriptor of the temporary file. This object owns it.
    int descriptor() const { return file_.get(); }
    /// Replaces the file, after all bytes are on the disk. Throws Failure.
    void commit();

private:
    std::string path_;
    std::string temporary_;
    Descriptor file_;
};
