/// Decodes one message in the wire form and prints it as a tree meanwhile.
#pragma once

#include <tmsg/tmsg.h>

#include <memory>
#include <string>

#include "tree_lines.h"

class Tree_printer;

class Tree_decoder : public Tm_bin_decoder_base {
public:
    Tree_decoder(Tree_lines::Offsets offsets, Tree_lines::Sink sink, Tm_limits const& limits);
    /// Removes the files that the message brought.
    ~Tree_decoder() override;

    void init() override;

    /// Decodes what it can; afterwards error() tells how it went, after an exception too.
    void feed(unsigned char const* data, std::size_t size);
    /// No more input comes: an incomplete message becomes an error, and its last line is printed.
    void finish();

    /// Where in the message the damage is.
    long error_offset() const { return error_offset_; }

private:
    Tree_lines lines_;
    Message message_;
    std::unique_ptr<Tm_creator> builder_;
    Tree_printer* printer_ = nullptr;  ///< creator_ itself
    long fed_ = 0;
    long error_offset_ = 0;
};
