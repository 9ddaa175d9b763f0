#include "temporary_files.h"

#include <tmsg/tmsg.h>

Temporary_files::~Temporary_files() { tm_remove_received_files(paths_); }

void Temporary_files::add(std::vector<std::string> const& paths) {
    paths_.insert(paths_.end(), paths.begin(), paths.end());
}

void Temporary_files::add(Message const& received) {
    tm_for_each_file(received, [&](Tm_file const& file) { paths_.push_back(file.path()); });
}
