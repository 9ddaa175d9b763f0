/// Shows a message as a tree of rows, for people.
#pragma once

#include <tmsg/tmsg.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// A row of the tree: a value, a message or a group of a message. Its text is the label, the type
/// and the rest, and has no control characters. Positions count the bytes of the message.
struct Tree_row {
    std::size_t begin = 0;           ///< the first byte, with the name if it is a member
    std::size_t value = 0;           ///< the first byte behind the name
    std::optional<std::size_t> end;  ///< none when rows below it follow, or it is incomplete
    int depth = 0;
    std::string label;
    std::string type;
    std::string rest;
};

/// Returns the text of the row, in colours if they are wanted.
std::string text_of(Tree_row const& row);

/// Gets the rows of the tree of one message, from the top to the bottom.
class Tree_sink {
public:
    virtual ~Tree_sink() = default;

    virtual void row(Tree_row const& row) = 0;
    /// Ends the innermost row that has no end yet. `end` is the byte behind it.
    virtual void end(std::size_t end) = 0;
    /// Ends the tree. `end` is the byte behind the last one that was understood.
    virtual void finish(std::size_t end) = 0;
};

/// Makes rows. The last row stays open, because the next event may add to it.
class Tree_rows {
public:
    explicit Tree_rows(Tree_sink& sink) : sink_(sink) {}

    /// Passes on the open row and opens the next one.
    void open(Tree_row row);
    void set_type(std::string_view type) { row_.type = type; }
    void add(std::string_view text) { row_.rest += text; }
    /// Ends the innermost row that has no end yet. `end` is the byte behind it.
    void end(std::size_t end);
    /// Passes on the open row, if there is one.
    void close();

private:
    Tree_sink& sink_;
    bool is_open_ = false;
    Tree_row row_;
};

class Tree_printer;

/// Decodes one message in the wire form and makes a tree of it at the same time.
class Tree_decoder : public Tm_bin_decoder_base {
public:
    Tree_decoder(std::unique_ptr<Tree_sink> sink, Tm_limits const& limits);
    /// Removes the files that the message brought.
    ~Tree_decoder() override;

    void init() override;

    /// Decodes the bytes. Sets the error text for damage, also after std::bad_alloc.
    void feed(std::string_view bytes);
    /// Does the same up to the end of the message. Returns the number of bytes that it took.
    std::size_t feed_message(std::string_view bytes);
    /// Call it after the last input. It sets an error text when the message is incomplete, and
    /// passes on the last row.
    void finish();

    /// Returns the position of the damage in the message.
    std::size_t error_offset() const { return error_offset_; }

private:
    template <class Call>
    void decode_by(Call call);

    std::unique_ptr<Tree_sink> sink_;
    Tree_rows rows_;
    Message message_;
    std::unique_ptr<Tm_creator> builder_;
    Tree_printer* printer_ = nullptr;  ///< the object that creator_ owns
    std::size_t fed_ = 0;
    std::size_t error_offset_ = 0;
};
