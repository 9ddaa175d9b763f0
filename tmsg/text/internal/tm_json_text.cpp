#include "tmsg/text/internal/tm_json_text.h"

#include <algorithm>
#include <cstdint>

namespace {

/// What the first byte says about a character that is more than one byte.
struct Utf8_character {
    std::size_t size;
    unsigned char least_second;
    unsigned char most_second;
};

/// The second byte excludes overlong forms, surrogates and what is above U+10FFFF.
constexpr Utf8_character character_of(unsigned char first) {
    if (first >= 0xC2 && first <= 0xDF) return {2, 0x80, 0xBF};
    if (first == 0xE0) return {3, 0xA0, 0xBF};
    if (first == 0xED) return {3, 0x80, 0x9F};
    if (first >= 0xE1 && first <= 0xEF) return {3, 0x80, 0xBF};
    if (first == 0xF0) return {4, 0x90, 0xBF};
    if (first >= 0xF1 && first <= 0xF3) return {4, 0x80, 0xBF};
    if (first == 0xF4) return {4, 0x80, 0x8F};
    return {0, 0, 0};
}

bool is_within(char c, unsigned char least, unsigned char most) {
    auto const byte = static_cast<unsigned char>(c);
    return byte >= least && byte <= most;
}

bool is_ascii(char c) { return static_cast<unsigned char>(c) < 0x80; }

bool is_escaped(char c) { return static_cast<unsigned char>(c) < ' ' || c == '"' || c == '\\'; }

void append_escape(std::string& to, char c) {
    constexpr std::string_view escaped = "\"\\\b\f\n\r\t";
    constexpr std::string_view letters = "\"\\bfnrt";
    to += '\\';
    if (std::size_t const i = escaped.find(c); i != std::string_view::npos) {
        to += letters[i];
    } else {
        to += "u00";
        to += "0123456789abcdef"[c >> 4];
        to += "0123456789abcdef"[c & 15];
    }
}

}  // namespace

bool tm_is_utf8(std::string_view bytes) {
    while (true) {
        auto const* const next = std::find_if_not(bytes.begin(), bytes.end(), is_ascii);
        bytes.remove_prefix(static_cast<std::size_t>(next - bytes.begin()));
        if (bytes.empty()) return true;
        Utf8_character const character = character_of(static_cast<unsigned char>(bytes[0]));
        if (character.size == 0 || character.size > bytes.size()) return false;
        if (!is_within(bytes[1], character.least_second, character.most_second)) return false;
        for (std::size_t i = 2; i < character.size; ++i) {
            if (!is_within(bytes[i], 0x80, 0xBF)) return false;
        }
        bytes.remove_prefix(character.size);
    }
}

void tm_append_json_string(std::string& to, std::string_view text) {
    to += '"';
    while (true) {
        auto const* const next = std::find_if(text.begin(), text.end(), is_escaped);
        auto const size = static_cast<std::size_t>(next - text.begin());
        to.append(text.data(), size);
        text.remove_prefix(size);
        if (text.empty()) break;
        append_escape(to, text.front());
        text.remove_prefix(1);
    }
    to += '"';
}

namespace {

/// Goes over the text once. Keeps a stack of what is open.
class Layout {
public:
    Layout(std::string_view text, std::vector<std::size_t> const& pairs, int indent)
        : text_(text), next_pairs_(pairs.begin()), last_pairs_(pairs.end()), indent_(indent) {
        out_.reserve(text.size());
    }

    std::string run() {
        while (at_ < text_.size()) step();
        return std::move(out_);
    }

private:
    enum class Kind : unsigned char { list, tag, pairs };
    struct Open {
        Kind kind;
        std::size_t level;  ///< of the lines within
    };

    void step();
    void open(char bracket);
    void open_pairs();
    void close(char bracket);
    void copy_string();
    void begin_line(std::size_t level);
    bool is_empty_list() const { return text_[at_ + 1] == ']' || text_[at_ + 1] == '}'; }

    std::string_view text_;
    std::size_t at_ = 0;
    std::vector<std::size_t>::const_iterator next_pairs_;
    std::vector<std::size_t>::const_iterator last_pairs_;
    int indent_;
    std::string out_;
    std::vector<Open> open_;
};

void Layout::step() {
    char const c = text_[at_];
    switch (c) {
        case '"':
            return copy_string();
        case '{':
        case '[':
            return open(c);
        case '}':
        case ']':
            return close(c);
        case ',':
            out_ += open_.back().kind == Kind::pairs ? "]," : ",";
            begin_line(open_.back().level);
            if (open_.back().kind == Kind::pairs) out_ += '[';
            break;
        case ':':
            out_ += open_.back().kind == Kind::pairs ? ',' : ':';
            if (indent_ > 0) out_ += ' ';
            break;
        default:
            out_ += c;
    }
    ++at_;
}

void Layout::open(char bracket) {
    bool const is_pairs = next_pairs_ != last_pairs_ && *next_pairs_ == at_;
    if (is_pairs) return open_pairs();
    if (is_empty_list()) {
        out_.append(text_, at_, 2);
        at_ += 2;
        return;
    }
    std::size_t const level = open_.empty() ? 0 : open_.back().level;
    bool const is_tag = text_.compare(at_, 3, "{\"$") == 0;
    open_.push_back({is_tag ? Kind::tag : Kind::list, is_tag ? level : level + 1});
    out_ += bracket;
    if (!is_tag) begin_line(level + 1);
    ++at_;
}

void Layout::open_pairs() {
    ++next_pairs_;
    std::size_t const level = (open_.empty() ? 0 : open_.back().level) + 1;
    open_.push_back({Kind::pairs, level});
    out_ += indent_ > 0 ? "{\"$struct\": [" : "{\"$struct\":[";
    begin_line(level);
    out_ += '[';
    ++at_;
}

void Layout::close(char bracket) {
    Open const closed = open_.back();
    open_.pop_back();
    if (closed.kind == Kind::pairs) out_ += ']';
    if (closed.kind != Kind::tag) begin_line(closed.level - 1);
    if (closed.kind == Kind::pairs) out_ += ']';
    out_ += bracket;
    ++at_;
}

void Layout::copy_string() {
    std::size_t end = at_ + 1;
    while (text_[end] != '"') end += text_[end] == '\\' ? 2 : 1;
    ++end;
    out_.append(text_, at_, end - at_);
    at_ = end;
}

void Layout::begin_line(std::size_t level) {
    if (indent_ <= 0) return;
    out_ += '\n';
    out_.append(level * static_cast<std::size_t>(indent_), ' ');
}

}  // namespace

std::string tm_lay_out_json(std::string_view text, std::vector<std::size_t> const& pairs,
                            int indent) {
    return Layout(text, pairs, indent).run();
}
