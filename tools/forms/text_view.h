/// Shows captures as text: the chunks in a table, and each message as a tree.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "forms/view.h"

class Text_view : public View {
public:
    /// With `has_headings`, the name of each input stands above it.
    explicit Text_view(bool has_headings) : has_headings_(has_headings) {}

    void begin_input(std::string const& name) override;
    void end_input(std::string_view) override {}
    void finish() override {}
    void bytes(std::string_view) override {}
    std::unique_ptr<Tree_sink> begin_wire_message(std::size_t offset) override;
    std::unique_ptr<Tree_sink> begin_text_message() override;
    void chunk(std::size_t offset, Tm_header const& header, std::string const& error) override;
    std::unique_ptr<Tree_sink> collect(std::string& rows) override;
    void end_message(Ended_message const& message) override;
    void damage(std::size_t place, std::string const& text) override;

private:
    void separate_messages();

    bool has_headings_;
    bool is_first_input_ = true;
    bool is_first_message_ = true;
    bool needs_table_heading_ = true;
    std::size_t chunks_ = 0;
};
