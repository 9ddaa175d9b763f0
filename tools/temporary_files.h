/// The files that messages brought along; they go when this goes.
#pragma once

#include <string>
#include <vector>

class Message;

class Temporary_files {
public:
    Temporary_files() = default;
    Temporary_files(Temporary_files const&) = delete;
    Temporary_files& operator=(Temporary_files const&) = delete;
    ~Temporary_files();

    void add(std::vector<std::string> const& paths);
    /// The files of all file values within the message.
    void add(Message const& received);

private:
    std::vector<std::string> paths_;
};
