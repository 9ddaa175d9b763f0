#include "tree_lines.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "style.h"

namespace {

/// From here on the indent does not grow, so that a deep tree does not flood the terminal.
constexpr int deepest_indent = 40;

}  // namespace

Tree_lines::Tree_lines(Offsets offsets, Sink sink) : offsets_(offsets), sink_(std::move(sink)) {}

void Tree_lines::open(long offset, int depth, std::string_view label, std::string_view type) {
    close();
    is_open_ = true;
    if (offsets_ == Offsets::shown) {
        char column[32];
        std::snprintf(column, sizeof column, "%8ld  ", offset);
        front_ = painted(Colour::dim, column);
    }
    front_.append(2 * static_cast<std::size_t>(std::min(depth, deepest_indent)), ' ');
    front_ += painted(Colour::cyan, label);
    if (!label.empty() && !type.empty()) front_ += ' ';
    type_ = type;
}

void Tree_lines::close() {
    if (!is_open_) return;
    sink_(front_ + painted(Colour::green, type_) + rest_ + '\n');
    is_open_ = false;
    front_.clear();
    rest_.clear();
}
