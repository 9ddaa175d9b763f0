/// Bytes as readable text and back, the texts of exceptions, and files.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <tmsg/tmsg.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using Bytes = std::vector<unsigned char>;

/// "00 01 0A" to bytes.
inline Bytes from_hex(std::string const& text) {
    Bytes bytes;
    std::istringstream stream(text);
    for (unsigned int byte = 0; stream >> std::hex >> byte;) bytes.push_back(static_cast<unsigned char>(byte));
    return bytes;
}

using Names = std::vector<std::string>;

template <class... Text>
Names rows(Text const&... text) {
    return {text...};
}

/// The two halves of a table's row "bytes -> text".
inline std::pair<Bytes, std::string> split(std::string const& row) {
    std::size_t const arrow = row.find("-> ");
    return {from_hex(row.substr(0, arrow)), row.substr(arrow + 3)};
}

inline std::string to_hex(Bytes const& bytes) {
    std::string text;
    for (unsigned char const byte : bytes) {
        for (int const digit : {byte >> 4, byte & 15}) text += "0123456789ABCDEF"[digit];
        text += ' ';
    }
    return text.substr(0, text.size() - !text.empty());
}

/// Bytes that differ from their neighbours and repeat late.
inline std::string pattern(std::size_t size) {
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>(i * 7 + i / 256);
    return text;
}

/// The exact text of what a call throws.
template <class Exception = Tm_exception, class Call>
std::string text_thrown_by(Call call) {
    try {
        call();
    } catch (Exception const& thrown) { return thrown.what(); }
    return "nothing thrown";
}

#define EXPECT_THROWS(text, call) EXPECT_EQ(text, text_thrown_by([&] { call; }))

/// Files of a test, gone with it.
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

/// Makes a file that is too large to be mapped, passes its path to `add`, and cuts the file. Returns
/// the path.
template <class Add>
std::string add_cut_file(Scratch const& scratch, Add add) {
    std::string path = scratch.file("shrinks", "");
    std::filesystem::resize_file(path, 12000000);
    add(path);
    std::filesystem::resize_file(path, 1000000);
    return path;
}

inline std::string content_of(std::string const& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

/// The number of the descriptor that is opened next.
inline int next_descriptor() {
    int const fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(fd);
    return fd;
}

/// Returns how many received files of this process stand in /tmp since the last call. Removes them.
/// A probe tells the latest number, so that nobody lists /tmp, where many other files may stand.
inline int remove_received_files() {
    static int next = 0;
    unsigned char const empty_file[] = {0x15, 0, 0, 0, 0};
    Tm_bin_array_decoder probe(16);
    probe.feed(empty_file, sizeof empty_file);
    std::string const path = probe.received_files().at(0);
    std::size_t const number_at = path.rfind('_') + 1;
    int removed = -1;  // the probe's own
    for (int const last = std::stoi(path.substr(number_at)); next <= last; ++next) {
        removed += std::remove((path.substr(0, number_at) + std::to_string(next)).c_str()) == 0;
    }
    return removed;
}
