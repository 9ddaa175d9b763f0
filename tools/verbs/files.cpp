#include "verbs/files.h"

#include "io/output.h"
#include "io/system.h"
#include "io/terminal.h"
#include "verbs/verbs.h"

namespace {

/// Returns false when the file is bad.
bool read_file(std::string const& file, std::function<void(Input&)> const& read) {
    try {
        Input input(file);
        read(input);
        return true;
    } catch (Failure const& failure) {
        flush_output();
        report(failure.what());
    } catch (std::exception const& error) {
        flush_output();
        report(file + ": " + text_of(error));
    }
    return false;
}

}  // namespace

int for_each_file(std::vector<std::string> const& files, std::function<void(Input&)> const& read) {
    if (files.empty()) return read_file("-", read) ? exit_good : exit_failure;
    bool is_good = true;
    for (std::string const& file : files) is_good = read_file(file, read) && is_good;
    return is_good ? exit_good : exit_failure;
}
