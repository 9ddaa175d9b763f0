/// Files of a test, gone with it; and the temporary files of this process that hold received ones.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

class Scratch {
public:
    Scratch() {
        std::string name = (std::filesystem::temp_directory_path() / "tmsg_test_XXXXXX").string();
        folder_ = ::mkdtemp(name.data());
    }
    ~Scratch() { std::filesystem::remove_all(folder_); }

    std::string path(std::string const& name) const { return (folder_ / name).string(); }
    std::string file(std::string const& name, std::string const& content) const {
        std::ofstream(path(name), std::ios::binary) << content;
        return path(name);
    }

private:
    std::filesystem::path folder_;
};

inline std::string content_of(std::string const& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

/// How many received files of this process stand in /tmp; removes them.
inline int remove_received_files() {
    int removed = 0;
    std::string const prefix = "zab_tmp_" + std::to_string(::getpid()) + "_";
    for (auto const& entry : std::filesystem::directory_iterator("/tmp")) {
        if (entry.path().filename().string().rfind(prefix, 0) != 0) continue;
        std::filesystem::remove(entry.path());
        ++removed;
    }
    return removed;
}
