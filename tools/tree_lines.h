/// The lines of a tree: offset, indent, label, type and value. The last line stays open, for what
/// follows may still belong to it.
#pragma once

#include <functional>
#include <string>
#include <string_view>

class Tree_lines {
public:
    using Sink = std::function<void(std::string_view text)>;

    enum class Offsets { shown, hidden };

    Tree_lines(Offsets offsets, Sink sink);

    /// Ends the open line and opens another.
    void open(long offset, int depth, std::string_view label, std::string_view type);
    void set_type(std::string_view type) { type_ = type; }
    void add(std::string_view text) { rest_ += text; }
    /// Ends the open line, if there is one.
    void close();

private:
    Offsets offsets_;
    Sink sink_;
    bool is_open_ = false;
    std::string front_;
    std::string type_;
    std::string rest_;
};
