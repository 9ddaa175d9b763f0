/// How far a long conversion is, on standard error if that is a terminal and the output goes to
/// another place; a short one shows nothing.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

class Progress {
public:
    /// Bytes in all; 0 when that is not known.
    Progress(std::string what, std::size_t total);
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;
    /// Wipes the line.
    ~Progress();

    void advance(std::size_t bytes);

private:
    using Clock = std::chrono::steady_clock;

    void show() const;

    std::string what_;
    std::size_t total_;
    std::size_t done_ = 0;
    bool is_wanted_;
    bool is_shown_ = false;
    Clock::time_point next_;
};
