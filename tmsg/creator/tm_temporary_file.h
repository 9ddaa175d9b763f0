/// A new file under /tmp, empty, readable and writable by its owner alone; removed on destruction
/// unless it is kept. Throws Tm_file_open_exception when it cannot be made.
#pragma once

#include <string>

#include "tmsg/value/tm_descriptor.h"

class Tm_temporary_file {
public:
    Tm_temporary_file();
    Tm_temporary_file(Tm_temporary_file const&) = delete;
    Tm_temporary_file& operator=(Tm_temporary_file const&) = delete;
    ~Tm_temporary_file();

    std::string const& path() const { return path_; }
    int descriptor() const { return descriptor_.get(); }
    void keep() { kept_ = true; }

private:
    std::string path_;
    Tm_descriptor descriptor_;
    bool kept_ = false;
};
