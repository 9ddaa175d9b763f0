/// Writes a message or value as JSON that keeps every type, which Tm_typed_json_decoder reads back:
///
///     Tm_typed_json_encoder json;
///     message.accept(json);
///     use(json.get_string());  // {"request":"add","meta":{},"body":{"a":1,"b":{"$int8":-5}}}
///
/// The text is valid JSON in UTF-8. docs/typed-json.md describes it.
/// Each value after the first stands on a new line. Call clear() to begin a new text. Without that,
/// the text grows.
/// Every event returns true, except one that cannot come next. A file that ends before its
/// announced length throws Tm_file_read_exception. Call clear() after an exception.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/value/tm_decimal.h"
#include "tmsg/value/tm_folded_events.h"
#include "tmsg/value/tm_owners.h"
#include "tmsg/value/tm_plain.h"
#include "tmsg/value/tm_type_code.h"

class Tm_base64_writer;
class Tm_read_ahead;

class TMSG_API Tm_typed_json_encoder : public Tm_folded_events<Tm_typed_json_encoder> {
public:
    /// Writes each value on one line, without blanks.
    Tm_typed_json_encoder();
    /// Writes each element and each member on a line of its own, `indent` blanks further in than
    /// what is around it. With 0 or less, does the same as without an argument.
    explicit Tm_typed_json_encoder(int indent);
    Tm_typed_json_encoder(Tm_typed_json_encoder const&) = delete;
    Tm_typed_json_encoder& operator=(Tm_typed_json_encoder const&) = delete;
    ~Tm_typed_json_encoder() override;

    /// Both read the file. Its contents are a part of the text.
    using Tm_folded_events::visit_file_begin;
    bool visit_file_begin(int fd, unsigned int length) override;
    using Tm_folded_events::visit_file_continue;
    bool visit_file_continue(int fd, std::string const& path, unsigned int length) override;

    /// Empties the text, and forgets a value that is not complete.
    void clear();
    /// Returns the text. Call it when the value is complete.
    std::string const& get_string() const { return text_; }

private:
    friend class Tm_folded_events<Tm_typed_json_encoder>;

    enum class Kind : unsigned char { array, structure, message };
    enum class Head : unsigned char { request, response, fault };

    /// An open array, struct or message.
    struct Open {
        Kind kind = Kind::array;
        Head head = Head::response;  ///< of a message
        bool is_tagged = false;      ///< a message within another value
        bool has_items = false;      ///< elements, members, or the head of a message
        bool needs_pairs = false;    ///< a struct whose names cannot be those of an object
        int groups = 0;              ///< how many groups of a message have begun
        std::size_t begin = 0;       ///< its place in the text
        std::size_t first_name = 0;  ///< the place of its first name in names_
    };
    /// The place of a name in the text.
    struct Place {
        std::size_t begin;
        std::size_t size;
    };

    bool open(Tm_bracket bracket);
    bool close(Tm_bracket bracket);
    bool put(bool value);
    bool put(int value);
    bool put(double value);
    template <class Whole>
    bool put(Whole value) {
        return put_tagged(Tm_plain<Whole>::code, Tm_decimal(value));
    }
    bool put_tagged(TMV type, std::string_view digits);
    bool put_literal(std::string_view text);
    bool begin(Tm_bytes bytes, unsigned int length);
    bool piece(Tm_bytes bytes, char const* data, unsigned int length);

    bool is_in(Kind kind) const { return !open_.empty() && open_.back().kind == kind; }
    bool begin_value();
    void end_value();
    bool begin_group();
    void put_head(std::string_view name);
    bool put_whole(Tm_bytes bytes, std::string_view text);
    void put_name(std::string_view name);
    void put_text(std::string_view text);
    bool names_repeat(std::size_t first_name);
    bool close_struct();
    bool close_message();

    int indent_ = 0;
    std::string text_;
    std::size_t value_begin_ = 0;     ///< the place of the outermost value in the text
    std::vector<Open> open_;          ///< from the outermost to the innermost
    std::vector<Place> names_;        ///< of the open structs
    std::vector<std::size_t> pairs_;  ///< places of the structs that need pairs, in this value
    std::vector<std::string_view> sorted_;

    unsigned int bytes_left_ = 0;  ///< of the open byte sequence
    std::string bytes_;  ///< its pieces, while there are several; of a file, the last piece
    Tm_owned<Tm_base64_writer> base64_;
    Tm_owned<Tm_read_ahead> file_;
};
