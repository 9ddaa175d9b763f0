#include "temporary_files.h"

#include <tmsg/tmsg.h>
#include <unistd.h>

namespace {

void collect(Tm_value const& value, std::vector<std::string>& paths) {
    if (value.get_value_type() == TMV_FILE) {
        paths.push_back(static_cast<Tm_file const&>(value).path());
    }
    tm_for_each_child(value, [&](Tm_value const& child) { collect(child, paths); });
}

}  // namespace

Temporary_files::~Temporary_files() {
    for (std::string const& path : paths_) ::unlink(path.c_str());
}

void Temporary_files::add(std::vector<std::string> const& paths) {
    paths_.insert(paths_.end(), paths.begin(), paths.end());
}

void Temporary_files::add(Message const& received) { collect(received, paths_); }
