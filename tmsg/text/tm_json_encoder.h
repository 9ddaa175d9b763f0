#pragma once

#include <string>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/text/tm_text_encoder.h"

/// Decides whether the next item needs a comma in front of it, also in lists within lists.
class TMSG_API Tm_json_comma_check {
public:
    enum in_type_e {
        in_none = 0,   ///< in no list: there are no commas
        in_first = 1,  ///< in a list that has no item yet
        in_rest = 2    ///< in a list that has items
    };

    Tm_json_comma_check() : stack_{in_none} {}

    void push_in_type(bool in_list) { stack_.push_back(in_list ? in_first : in_none); }
    void pop_in_type() {
        if (!stack_.empty()) stack_.pop_back();
    }
    /// Returns whether the next item needs a comma. Call it once for each item, before it.
    bool needs_comma() {
        if (stack_.empty() || stack_.back() == in_none) return false;
        bool const is_first = stack_.back() == in_first;
        stack_.back() = in_rest;
        return !is_first;
    }

private:
    std::vector<in_type_e> stack_;
};

/// Counts the open containers that began behind the size limit and are not written.
class TMSG_API Tm_oversize_stack {
public:
    void push() { ++depth_; }
    /// Ends the innermost container. Returns false when it began before the limit, so that its end
    /// is written.
    bool pop() { return depth_ != 0 && depth_-- != 0; }

private:
    unsigned int depth_ = 0;
};

/// Writes a message or value as one line of JSON for people. The library does not read it back.
///
///     {"name": "add", "request": [{}, {"a": 1}]}
///
/// At the size limit the encoder leaves out further members, closes all open containers and marks
/// the message with `"__SNIPPED__" : true`. It cuts only members and byte strings, so other values
/// can make the text longer than the limit by any amount. A byte string that is cut before its last
/// piece has no closing quote and brace. The encoder escapes each byte outside printable ASCII as
/// \u00XX. It does not escape the names of members. Every event returns true.
class TMSG_API Tm_json_encoder : public Tm_folded_events<Tm_json_encoder, Tm_text_encoder> {
public:
    /// `limit` is in bytes of text.
    explicit Tm_json_encoder(unsigned int limit = DEFAULT_LIMIT);
    ~Tm_json_encoder() override;

    /// Passes the piece to visit_string_continue(), which a derived class may override.
    bool visit_method_name_continue(char const* data, unsigned int length) override;

    /// Empties the text for the next message. The message before must be complete.
    void clear() override;
    std::string const& get_string() const override;

private:
    friend class Tm_folded_events<Tm_json_encoder, Tm_text_encoder>;

    bool open(Tm_bracket bracket);
    bool close(Tm_bracket bracket);
    template <class Plain>
    bool put(Plain value) {
        if (begin_value()) append_plain(value);
        return true;
    }
    bool begin(Tm_bytes bytes, unsigned int length);
    bool piece(Tm_bytes bytes, char const* data, unsigned int length);

    void put_piece(Tm_bytes bytes, char const* data, unsigned int length);
    bool begin_value();
    bool begin_member();
    void open_container(bool is_list, std::string_view text);
    void close_container(bool is_list, std::string_view text);
    void escape_and_append(char const* data, unsigned int length);

    Tm_json_comma_check value_commas_;
    Tm_json_comma_check member_commas_;
    Tm_oversize_stack oversize_;
    bool snipped_ = false;
};
