#pragma once

#include <string>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/text/tm_text_encoder.h"

/// Knows whether the next item of a list needs a comma before it. Lists nest.
class TMSG_API Tm_json_comma_check {
public:
    enum in_type_e {
        in_none = 0,   ///< in no list: there are no commas
        in_first = 1,  ///< in a list that has no item yet
        in_rest = 2    ///< in a list that has items
    };

    /// Starts outside of all lists.
    Tm_json_comma_check() : stack_{in_none} {}

    /// Enters a list, or with false a part without commas.
    void push_in_type(bool in_list) { stack_.push_back(in_list ? in_first : in_none); }
    /// Leaves what was entered last. Does nothing when there is nothing to leave.
    void pop_in_type() {
        if (!stack_.empty()) stack_.pop_back();
    }
    /// Returns whether the next item needs a comma. Call it once before each item.
    bool needs_comma() {
        if (stack_.empty() || stack_.back() == in_none) return false;
        bool const is_first = stack_.back() == in_first;
        stack_.back() = in_rest;
        return !is_first;
    }

private:
    std::vector<in_type_e> stack_;
};

/// Counts the open containers that are not written, because they began after the size limit.
class TMSG_API Tm_oversize_stack {
public:
    /// Counts a container that is not written.
    void push() { ++depth_; }
    /// Ends the innermost container. Returns true when it is not written. Returns false when it
    /// began before the limit, so that its end must be written.
    bool pop() { return depth_ != 0 && depth_-- != 0; }

private:
    unsigned int depth_ = 0;
};

/// Writes a message or value as one line of JSON for people. The library does not read it back.
///
///     Tm_json_encoder json(10000);
///     message.accept(json);
///     use(json.get_string());  // {"name": "add", "request": [{}, {"a": 1}]}
///
/// At the size limit the encoder leaves out further members, closes all open containers and marks
/// the message with `"__SNIPPED__" : true`. It cuts only members and byte strings, so other values
/// can make the text longer than the limit by any amount. A byte string that is cut before its last
/// piece has no closing quote and brace.
/// The encoder escapes each byte outside of printable ASCII, some as `\n` and the like and the
/// others as `\u00XX`. It does not escape the names of members. Every event returns true.
class TMSG_API Tm_json_encoder : public Tm_folded_events<Tm_json_encoder, Tm_text_encoder> {
public:
    /// `limit` is the size limit in bytes of text.
    explicit Tm_json_encoder(unsigned int limit = DEFAULT_LIMIT);
    ~Tm_json_encoder() override;

    /// Passes the piece to visit_string_continue(), which a derived class may override.
    bool visit_method_name_continue(char const* data, unsigned int length) override;

    /// Empties the text for the next message. The last message must be complete.
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
