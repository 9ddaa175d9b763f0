#include "forms/text_view.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <optional>
#include <utility>

#include "io/output.h"
#include "io/terminal.h"

namespace {

/// The indent grows up to this depth only, so that a deep tree does not flood the terminal.
constexpr int deepest_indent = 40;

/// Writes a line for each row, with its offset if the offset of the message is given.
class Tree_lines : public Tree_sink {
public:
    using Write = std::function<void(std::string_view)>;

    Tree_lines(std::optional<std::size_t> begin, Write write)
        : begin_(begin), write_(std::move(write)) {}

    void row(Tree_row const& row) override {
        std::string line;
        if (begin_) {
            char column[32];
            std::snprintf(column, sizeof column, "%8zu  ", *begin_ + row.begin);
            line = painted(Colour::dim, column);
        }
        line.append(2 * static_cast<std::size_t>(std::min(row.depth, deepest_indent)), ' ');
        write_(line + text_of(row) + '\n');
    }
    void end(std::size_t) override {}
    void finish(std::size_t) override {}

private:
    std::optional<std::size_t> begin_;
    Write write_;
};

}  // namespace

std::string text_of(Ended_message const& message) {
    return "message " + std::to_string(message.seq_no) + ": " + std::to_string(message.size) +
           " bytes in " + std::to_string(message.chunks) +
           (message.chunks == 1 ? " chunk" : " chunks");
}

void Text_view::begin_input(std::string const& name) {
    if (has_headings_) {
        write_output((is_first_input_ ? "==> " : "\n==> ") + printable(name) + " <==\n");
    }
    is_first_input_ = false;
    is_first_message_ = true;
    needs_table_heading_ = true;
    chunks_ = 0;
}

void Text_view::separate_messages() {
    if (!is_first_message_) write_output("\n");
    is_first_message_ = false;
}

std::unique_ptr<Tree_sink> Text_view::begin_wire_message(std::size_t offset) {
    separate_messages();
    return std::make_unique<Tree_lines>(offset, write_output);
}

std::unique_ptr<Tree_sink> Text_view::begin_text_message() {
    separate_messages();
    return std::make_unique<Tree_lines>(std::nullopt, write_output);
}

/// Writes the heading of the table before the first row, and before rows that follow a message.
void Text_view::chunk(std::size_t offset, Tm_header const& header, std::string const& error) {
    if (needs_table_heading_) {
        write_output(chunks_ == 0 ? "" : "\n");
        write_output(" chunk     offset   length  first  last  port   sequence\n");
        needs_table_heading_ = false;
    }
    char text[160];
    std::snprintf(text, sizeof text, "%6zu %10zu %8u  %-5s  %-4s %5u %10u", ++chunks_, offset,
                  header.get_length(), header.get_first_chunk() ? "first" : "-",
                  header.get_last_chunk() ? "last" : "-", header.get_tmport(), header.get_seq_no());
    write_output(text);
    if (!error.empty()) write_output(painted(Colour::red, "  " + error));
    write_output("\n");
}

std::unique_ptr<Tree_sink> Text_view::collect(std::string& rows) {
    auto const add = [&rows](std::string_view text) { rows += text; };
    return std::make_unique<Tree_lines>(std::nullopt, add);
}

void Text_view::end_message(Ended_message const& message) {
    write_output("\n" + text_of(message) + "\n");
    write_output(message.rows);
    needs_table_heading_ = true;
}

void Text_view::damage(std::size_t, std::string const& text) {
    write_output(painted(Colour::red, text) + "\n");
}
