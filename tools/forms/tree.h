/// Prints a message as a tree of lines, for people.
#pragma once

#include <tmsg/tmsg.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

/// Writes the lines of a tree. A line has an offset, an indent, a label, a type and a value. The
/// last line stays open, because the next event may add to it.
class Tree_lines {
public:
    using Sink = std::function<void(std::string_view text)>;

    enum class Offsets { shown, hidden };

    /// `begin` is added to the offsets.
    Tree_lines(Offsets offsets, Sink sink, std::size_t begin);

    /// Ends the open line and opens the next one.
    void open(long offset, int depth, std::string_view label, std::string_view type);
    void set_type(std::string_view type) { type_ = type; }
    void add(std::string_view text) { rest_ += text; }
    /// Ends the open line, if there is one.
    void close();

private:
    Offsets offsets_;
    Sink sink_;
    std::size_t begin_;
    bool is_open_ = false;
    std::string front_;
    std::string type_;
    std::string rest_;
};

class Tree_printer;

/// Decodes one message in the wire form and prints it as a tree at the same time.
class Tree_decoder : public Tm_bin_decoder_base {
public:
    /// `begin` is added to the offsets.
    Tree_decoder(Tree_lines::Offsets offsets, Tree_lines::Sink sink, Tm_limits const& limits,
                 std::size_t begin = 0);
    /// Removes the files that the message brought.
    ~Tree_decoder() override;

    void init() override;

    /// Decodes the bytes. Sets the error text for damage, also after std::bad_alloc.
    void feed(std::string_view bytes);
    /// Does the same up to the end of the message. Returns the number of bytes that it took.
    std::size_t feed_message(std::string_view bytes);
    /// Call it after the last input. It sets an error text when the message is incomplete, and
    /// prints the last line.
    void finish();

    /// Returns the position of the damage in the message.
    std::size_t error_offset() const { return error_offset_; }

private:
    template <class Call>
    void decode_by(Call call);

    Tree_lines lines_;
    Message message_;
    std::unique_ptr<Tm_creator> builder_;
    Tree_printer* printer_ = nullptr;  ///< the object that creator_ owns
    std::size_t fed_ = 0;
    std::size_t error_offset_ = 0;
};
