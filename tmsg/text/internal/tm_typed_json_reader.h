/// Reads typed JSON from its tokens, and sends what they say to a creator. docs/typed-json.md
/// describes the form.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tmsg/creator/internal/tm_own_creator.h"
#include "tmsg/text/internal/tm_json_tokens.h"

/// Keeps a stack of what is open. Operations that return bool return false after an error.
class Tm_typed_json_reader {
public:
    Tm_typed_json_reader(Tm_json_tokens const& tokens, Tm_own_creator& creator)
        : tokens_(tokens), creator_(creator) {}

    /// Reads one message, or one value of any kind. Call it once.
    bool read(bool is_message);

    std::string const& error() const { return error_; }
    /// Returns the place in the text of the token that is being read, or was refused.
    std::size_t place() const { return static_cast<std::size_t>(tokens_[at_].place); }

private:
    using Token = Tm_json_token;

    enum class Kind : unsigned char { array, object, pairs, message };
    enum class Stage : unsigned char { meta, body, end };
    enum class Head : unsigned char { none, request, response, fault };

    /// The parts of a message: positions of tokens, 0 where the part is absent.
    struct Parts {
        Head head = Head::none;
        std::size_t name = 0;
        std::size_t meta = 0;
        std::size_t body = 0;
    };
    /// An open array, struct or message. A struct is an object or pairs.
    struct Open {
        Kind kind;
        std::size_t next;  ///< the position after it
        Stage stage = Stage::meta;
        Parts parts = {};
    };
    struct Tag {
        std::string_view name;
        bool (Tm_typed_json_reader::*read)(std::size_t value, std::size_t next);
    };

    static Tag const* find_tag(std::string_view name);

    bool fail(std::size_t at, std::string text);
    template <auto Event, class... Datum>
    bool emit(Datum... datum);

    bool read_next();
    bool read_element(Open const& array);
    bool read_member(Open const& object);
    bool read_pair(Open const& pairs);
    bool read_part(Open& message);
    bool end_value(std::size_t next);

    bool read_value();
    bool read_number();
    bool read_object();
    bool open_object(std::size_t next);
    bool check_keys();
    bool tag_is_alone();

    template <class Plain>
    bool put(Plain value, std::size_t next);
    bool put_text(std::string_view text, std::size_t next);
    bool put_name(std::string_view name);

    // Each reads the value of a tag. `next` is the position after the object.
    template <class Whole>
    bool read_integer(std::size_t value, std::size_t next);
    bool read_double(std::size_t value, std::size_t next);
    bool read_string(std::size_t value, std::size_t next);
    bool read_binary(std::size_t value, std::size_t next);
    bool read_file(std::size_t value, std::size_t next);
    bool open_pairs(std::size_t value, std::size_t next);
    bool open_message(std::size_t value, std::size_t next);

    bool read_parts(std::size_t message, Parts& parts);
    bool read_head(std::size_t key, Head head, Parts& parts);
    bool note_part(std::size_t key, std::size_t& part);
    bool begin_message(Parts const& parts);
    bool begin_group(std::size_t group);
    bool end_message();

    bool is_base64(std::size_t value);
    bool read_name(std::size_t at, std::string_view& name);
    template <auto Begin, auto Piece>
    bool put_bytes(std::size_t value, std::size_t next);

    Tm_json_tokens const& tokens_;
    Tm_own_creator& creator_;
    std::size_t at_ = 0;  ///< the position of the token that is being read
    std::vector<Open> open_;
    std::string bytes_;  ///< of the last string that was base64
    std::vector<std::pair<std::string_view, std::size_t>> keys_;
    std::string error_;
};
