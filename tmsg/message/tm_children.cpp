#include "tmsg/message/tm_children.h"

#include "tmsg/value/internal/tm_received_file.h"

bool tm_remove_received_files(Tm_value const& received) {
    bool are_gone = true;
    tm_for_each_file(received, [&](Tm_file const& file) {
        if (!tm_remove_received_file(file.path())) are_gone = false;
    });
    return are_gone;
}

bool tm_remove_received_files(std::vector<std::string> const& paths) noexcept {
    bool are_gone = true;
    for (std::string const& path : paths) {
        if (!tm_remove_received_file(path)) are_gone = false;
    }
    return are_gone;
}
