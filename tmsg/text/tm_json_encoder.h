#pragma once

#include <string>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/text/tm_text_encoder.h"

/// Whether the next item needs a comma in front of it, for lists within lists.
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
    /// Asked once for each item, before it.
    bool needs_comma() {
        if (stack_.empty() || stack_.back() == in_none) return false;
        bool const is_first = stack_.back() == in_first;
        stack_.back() = in_rest;
        return !is_first;
    }

private:
    std::vector<in_type_e> stack_;
};

/// Counts the containers that were opened when nothing was written any more.
class TMSG_API Tm_oversize_stack {
public:
    void push() { ++depth_; }
    /// False: the container that ends was opened before.
    bool pop() { return depth_ != 0 && depth_-- != 0; }

private:
    unsigned int depth_ = 0;
};

/// Writes a message or value as one line of JSON, for logs and for eyes; nothing reads it back.
///
///     {"name": "add", "request": [{}, {"a": 1}]}
///
/// At the size limit the encoder leaves out what follows, closes what is open and marks the
/// message: `"__SNIPPED__" : true`. Only members and byte strings are cut there: all else can make
/// the text longer than the limit by any amount, and a byte string cut before its last piece stays
/// without its closing quote and brace. Every byte outside of printable ASCII is escaped by itself,
/// as \u00XX; names of members are written as they are. Every event returns true.
class TMSG_API Tm_json_encoder : public Tm_folded_events<Tm_json_encoder, Tm_text_encoder> {
public:
    explicit Tm_json_encoder(unsigned int limit = DEFAULT_LIMIT);
    ~Tm_json_encoder() override;

    /// Passes the piece to visit_string_continue(), which a derived class may override.
    bool visit_method_name_continue(char const* data, unsigned int length) override;

    /// Expects that the message before was complete.
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
