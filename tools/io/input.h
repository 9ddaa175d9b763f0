/// Reads the bytes of files and of standard input.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "io/system.h"
#include "io/terminal.h"

/// The bytes that are read at a time.
constexpr std::size_t input_block = 1 << 16;

/// Bytes that come in pieces.
class Byte_source {
public:
    using Watcher = std::function<void(std::string_view taken)>;

    virtual ~Byte_source() = default;

    /// Returns the bytes that were read and not taken. When there are none, reads the next ones.
    /// Returns no bytes at the end. The bytes are valid until the next read. Throws Failure.
    virtual std::string_view peek() = 0;
    /// Takes bytes that peek() returned.
    virtual void take(std::size_t size) = 0;
    /// Returns the number of bytes that were taken.
    virtual std::size_t offset() const = 0;

    /// Passes all bytes that are taken from now on to `watcher`.
    void watch(Watcher watcher) { watcher_ = std::move(watcher); }

protected:
    void show_watcher(std::string_view taken) const {
        if (watcher_) watcher_(taken);
    }

private:
    Watcher watcher_;
};

/// The bytes of a file or of standard input, in one pass. Before it waits for more bytes, it
/// flushes standard output.
class Input : public Byte_source {
public:
    /// Opens the file, or standard input when the path is empty or "-". Throws Failure.
    explicit Input(std::string const& path);

    /// Returns the path, or "standard input".
    std::string const& name() const { return name_; }

    std::string_view peek() override;
    void take(std::size_t size) override;
    std::size_t offset() const override { return offset_; }

    /// Returns the bytes that were read and not taken, and reads nothing.
    std::string_view unread() const;
    /// Reads bytes after those of unread(). Returns false at the end. Throws Failure.
    bool read_more();
    /// Takes all bytes to the end, but no further than the first piece that goes beyond `most`
    /// bytes.
    std::string read_all(std::size_t most);

private:
    std::size_t read(char* data, std::size_t size);
    void wait_for_bytes() const;

    std::string name_;
    Descriptor file_;  ///< none for standard input
    int descriptor_;
    bool is_file_;  ///< a file has all its bytes already
    Progress progress_;
    std::vector<char> block_;
    std::size_t begin_ = 0;  ///< of the unread bytes in the block
    std::size_t end_ = 0;
    std::size_t offset_ = 0;
};
