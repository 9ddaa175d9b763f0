#include "tmsg/text/internal/tm_typed_json_reader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

#include "tmsg/text/internal/tm_base64.h"
#include "tmsg/value/tm_plain.h"
#include "tmsg/value/tm_string.h"

namespace {

unsigned int length_of(std::string_view text) { return static_cast<unsigned int>(text.size()); }

std::string quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

bool begins_with_tag(std::string_view name) { return !name.empty() && name.front() == '$'; }

bool is_whole(std::string_view number) {
    return number.find_first_of(".eE") == std::string_view::npos;
}

template <class Number>
bool read_all(std::string_view digits, Number& number) {
    char const* const end = digits.data() + digits.size();
    auto const result = std::from_chars(digits.data(), end, number);
    return result.ec == std::errc() && result.ptr == end;
}

/// Reads the digits of a JSON integer. Returns false when the type does not have the number.
template <class Whole>
bool read_whole(std::string_view digits, Whole& whole) {
    using Limits = std::numeric_limits<Whole>;
    if (digits.front() == '-') {
        long wide = 0;
        if (!read_all(digits, wide) || wide < static_cast<long>(Limits::min())) return false;
        whole = static_cast<Whole>(wide);
    } else {
        unsigned long wide = 0;
        if (!read_all(digits, wide) || wide > static_cast<unsigned long>(Limits::max())) {
            return false;
        }
        whole = static_cast<Whole>(wide);
    }
    return true;
}

/// Returns whether the text is an integer as JSON has it.
bool is_json_integer(std::string_view text) {
    if (!text.empty() && text.front() == '-') text.remove_prefix(1);
    bool const are_digits =
        std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
    return are_digits && !text.empty() && (text.size() == 1 || text.front() != '0');
}

}  // namespace

bool Tm_typed_json_reader::read(bool is_message) {
    bool const has_begun = is_message ? open_message(0, tokens_.after(0)) : read_value();
    if (!has_begun) return false;
    while (!open_.empty()) {
        if (!read_next()) return false;
    }
    return true;
}

bool Tm_typed_json_reader::fail(std::size_t at, std::string text) {
    at_ = at;
    error_ = std::move(text);
    return false;
}

/// Sends an event. The error text of the creator becomes the reader's.
template <auto Event, class... Datum>
bool Tm_typed_json_reader::emit(Datum... datum) {
    (creator_.*Event)(datum...);
    return creator_.error().empty() || fail(at_, creator_.error());
}

// What is open

bool Tm_typed_json_reader::read_next() {
    Open& innermost = open_.back();
    switch (innermost.kind) {
        case Kind::array:
            return read_element(innermost);
        case Kind::object:
            return read_member(innermost);
        case Kind::pairs:
            return read_pair(innermost);
        default:
            return read_part(innermost);
    }
}

bool Tm_typed_json_reader::read_element(Open const& array) {
    if (!tokens_.is(at_, Token::end)) return read_value();
    std::size_t const next = array.next;
    if (!emit<&Tm_creator::visit_array_end>()) return false;
    open_.pop_back();
    return end_value(next);
}

bool Tm_typed_json_reader::read_member(Open const& object) {
    if (!tokens_.is(at_, Token::end)) {
        if (!put_name(tokens_.text_of(at_))) return false;
        ++at_;
        return read_value();
    }
    std::size_t const next = object.next;
    if (!emit<&Tm_creator::visit_struct_end>()) return false;
    open_.pop_back();
    return end_value(next);
}

/// The end of the pairs ends the struct.
bool Tm_typed_json_reader::read_pair(Open const& pairs) {
    if (tokens_.is(at_, Token::end)) return read_member(pairs);
    std::size_t const name = at_ + 1;
    bool const has_name = tokens_.is(at_, Token::array) && !tokens_.is(name, Token::end);
    std::size_t const value = has_name ? tokens_.after(name) : 0;
    bool const is_pair =
        has_name && !tokens_.is(value, Token::end) && tokens_.after(value) == tokens_[at_].more;
    if (!is_pair) return fail(at_, "a member of $struct is not [name, value]");
    std::string_view text;
    if (!read_name(name, text) || !put_name(text)) return false;
    at_ = value;
    return read_value();
}

bool Tm_typed_json_reader::read_part(Open& message) {
    Stage const stage = message.stage;
    if (stage == Stage::end) return end_message();
    bool const is_meta = stage == Stage::meta;
    message.stage = is_meta ? Stage::body : Stage::end;
    return begin_group(is_meta ? message.parts.meta : message.parts.body);
}

/// Goes on at the position `next`. The end of the value of a member ends the member.
bool Tm_typed_json_reader::end_value(std::size_t next) {
    Kind const around = open_.empty() ? Kind::array : open_.back().kind;
    bool const is_member = around == Kind::object || around == Kind::pairs;
    if (is_member && !creator_.end_member() && !emit<&Tm_creator::visit_member_end>()) return false;
    at_ = around == Kind::pairs ? next + 1 : next;
    return true;
}

// Values

/// Reads a value, or the begin of one that is a list.
bool Tm_typed_json_reader::read_value() {
    switch (tokens_[at_].kind) {
        case Token::number:
            return read_number();
        case Token::truth:
            return put(tokens_[at_].more != 0, at_ + 1);
        case Token::string:
            return put_text(tokens_.text_of(at_), at_ + 1);
        case Token::object:
            return read_object();
        default:
            if (!emit<&Tm_creator::visit_array_begin>()) return false;
            open_.push_back({Kind::array, tokens_.after(at_)});
            ++at_;
            return true;
    }
}

bool Tm_typed_json_reader::read_number() {
    std::string_view const number = tokens_.text_of(at_);
    std::size_t const next = at_ + 1;
    int as_int = 0;
    long as_long = 0;
    unsigned long as_unsigned_long = 0;
    if (!is_whole(number)) return read_double(at_, next);
    if (read_whole(number, as_int)) return put(as_int, next);
    if (read_whole(number, as_long)) return put(as_long, next);
    if (read_whole(number, as_unsigned_long)) return put(as_unsigned_long, next);
    return fail(at_, std::string(number) + " does not fit int64_t or uint64_t");
}

bool Tm_typed_json_reader::read_object() {
    std::size_t const key = at_ + 1;
    std::size_t const next = tokens_.after(at_);
    bool const is_struct = tokens_.is(key, Token::end) || !begins_with_tag(tokens_.text_of(key));
    if (is_struct) return open_object(next);
    Tag const* const tag = find_tag(tokens_.text_of(key));
    if (tag == nullptr) return fail(key, "unknown tag " + quoted(tokens_.text_of(key)));
    return tag_is_alone() && (this->*tag->read)(key + 1, next);
}

/// The tag is the first key of the object.
bool Tm_typed_json_reader::tag_is_alone() {
    std::size_t const key = at_ + 1;
    std::size_t const other = tokens_.after(key + 1);
    return tokens_.is(other, Token::end) ||
           fail(other,
                quoted(tokens_.text_of(other)) + " beside the tag " + quoted(tokens_.text_of(key)));
}

bool Tm_typed_json_reader::open_object(std::size_t next) {
    if (!check_keys() || !emit<&Tm_creator::visit_struct_begin>()) return false;
    open_.push_back({Kind::object, next});
    ++at_;
    return true;
}

/// Refuses tags, and the first key that repeats one before it.
bool Tm_typed_json_reader::check_keys() {
    keys_.clear();
    for (std::size_t key = at_ + 1; !tokens_.is(key, Token::end); key = tokens_.after(key + 1)) {
        std::string_view const name = tokens_.text_of(key);
        if (begins_with_tag(name)) {
            return fail(key, "the tag " + quoted(name) + " beside other keys");
        }
        keys_.emplace_back(name, key);
    }
    std::sort(keys_.begin(), keys_.end());
    std::size_t repeated = 0;
    for (std::size_t i = 1; i < keys_.size(); ++i) {
        auto const& [name, key] = keys_[i];
        bool const is_first = repeated == 0 || key < repeated;
        if (name == keys_[i - 1].first && is_first) repeated = key;
    }
    return repeated == 0 || fail(repeated, "duplicate key " + quoted(tokens_.text_of(repeated)));
}

template <class Plain>
bool Tm_typed_json_reader::put(Plain value, std::size_t next) {
    return (creator_.take(value) || emit<Tm_plain<Plain>::event>(value)) && end_value(next);
}

// Both pass a whole text to the creator. A text that is too long is sent as events, so that the
// creator sets its error text.

bool Tm_typed_json_reader::put_text(std::string_view text, std::size_t next) {
    bool const is_taken = text.size() <= Tm_string::MAX_LENGTH && creator_.take_text(text);
    return (is_taken || (emit<&Tm_creator::visit_string_begin>(length_of(text)) &&
                         emit<&Tm_creator::visit_string_continue>(text.data(), length_of(text)))) &&
           end_value(next);
}

bool Tm_typed_json_reader::put_name(std::string_view name) {
    if (name.size() <= Tm_string::MAX_LENGTH && creator_.take_whole_name(name)) return true;
    return emit<&Tm_creator::visit_member_begin>(length_of(name)) &&
           emit<&Tm_creator::visit_member_continue>(name.data(), length_of(name));
}

// Tags

Tm_typed_json_reader::Tag const* Tm_typed_json_reader::find_tag(std::string_view name) {
    static constexpr Tag tags[] = {
        {"$int8", &Tm_typed_json_reader::read_integer<signed char>},
        {"$uint8", &Tm_typed_json_reader::read_integer<unsigned char>},
        {"$int16", &Tm_typed_json_reader::read_integer<short>},
        {"$uint16", &Tm_typed_json_reader::read_integer<unsigned short>},
        {"$int32", &Tm_typed_json_reader::read_integer<int>},
        {"$uint32", &Tm_typed_json_reader::read_integer<unsigned int>},
        {"$int64", &Tm_typed_json_reader::read_integer<long>},
        {"$uint64", &Tm_typed_json_reader::read_integer<unsigned long>},
        {"$double", &Tm_typed_json_reader::read_double},
        {"$string", &Tm_typed_json_reader::read_string},
        {"$binary", &Tm_typed_json_reader::read_binary},
        {"$file", &Tm_typed_json_reader::read_file},
        {"$struct", &Tm_typed_json_reader::open_pairs},
        {"$message", &Tm_typed_json_reader::open_message},
    };
    auto const* const tag = std::find_if(std::begin(tags), std::end(tags),
                                         [&](Tag const& t) { return t.name == name; });
    return tag != std::end(tags) ? tag : nullptr;
}

/// The integers of 64 bits may be text.
template <class Whole>
bool Tm_typed_json_reader::read_integer(std::size_t value, std::size_t next) {
    constexpr bool may_be_text = sizeof(Whole) > sizeof(int);
    bool const is_text = may_be_text && tokens_.is(value, Token::string);
    std::string_view const digits =
        is_text || tokens_.is(value, Token::number) ? tokens_.text_of(value) : std::string_view();
    std::string const type = Tm_value::tmv_to_string(Tm_plain<Whole>::code);
    Whole whole = 0;
    if (!is_json_integer(digits)) return fail(value, "no integer for " + type);
    if (!read_whole(digits, whole)) {
        return fail(value, std::string(digits) + " does not fit " + type);
    }
    return put(whole, next);
}

bool Tm_typed_json_reader::read_double(std::size_t value, std::size_t next) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    bool const is_number = tokens_.is(value, Token::number);
    bool const is_text = tokens_.is(value, Token::string);
    std::string_view const text =
        is_number || is_text ? tokens_.text_of(value) : std::string_view();
    if (is_text && text == "NaN") return put(std::numeric_limits<double>::quiet_NaN(), next);
    if (is_text && text == "Infinity") return put(infinity, next);
    if (is_text && text == "-Infinity") return put(-infinity, next);
    if (!is_number) {
        return fail(value, R"(no number, "NaN", "Infinity" or "-Infinity" for double)");
    }
    double number = 0;
    if (!read_all(text, number)) return fail(value, std::string(text) + " does not fit double");
    return put(number, next);
}

bool Tm_typed_json_reader::is_base64(std::size_t value) {
    return (tokens_.is(value, Token::string) && tm_is_base64(tokens_.text_of(value))) ||
           fail(value, "bad base64");
}

bool Tm_typed_json_reader::read_string(std::size_t value, std::size_t next) {
    if (!is_base64(value)) return false;
    std::string_view const text = tokens_.text_of(value);
    bytes_.resize(tm_base64_size(text));
    tm_read_base64(text, bytes_.data());
    return put_text(bytes_, next);
}

bool Tm_typed_json_reader::read_binary(std::size_t value, std::size_t next) {
    return put_bytes<&Tm_creator::visit_binary_begin, &Tm_creator::visit_binary_continue>(value,
                                                                                          next);
}

bool Tm_typed_json_reader::read_file(std::size_t value, std::size_t next) {
    using Begin = bool (Tm_creator::*)(unsigned int);
    using Piece = bool (Tm_creator::*)(char const*, unsigned int);
    return put_bytes<static_cast<Begin>(&Tm_creator::visit_file_begin),
                     static_cast<Piece>(&Tm_creator::visit_file_continue)>(value, next);
}

/// Sends one empty piece for contents of length 0.
template <auto Begin, auto Piece>
bool Tm_typed_json_reader::put_bytes(std::size_t value, std::size_t next) {
    constexpr std::size_t text_at_once = 4096;
    if (!is_base64(value)) return false;
    std::string_view text = tokens_.text_of(value);
    std::size_t const size = tm_base64_size(text);
    if (size > std::numeric_limits<unsigned int>::max()) return fail(value, "too many bytes");
    if (!emit<Begin>(static_cast<unsigned int>(size))) return false;
    std::array<char, text_at_once / 4 * 3> bytes{};
    do {
        std::string_view const part = text.substr(0, text_at_once);
        char const* const end = tm_read_base64(part, bytes.data());
        if (!emit<Piece>(bytes.data(), static_cast<unsigned int>(end - bytes.data()))) return false;
        text.remove_prefix(part.size());
    } while (!text.empty());
    return end_value(next);
}

bool Tm_typed_json_reader::open_pairs(std::size_t value, std::size_t next) {
    if (!tokens_.is(value, Token::array)) return fail(value, "no list of members for $struct");
    if (!emit<&Tm_creator::visit_struct_begin>()) return false;
    open_.push_back({Kind::pairs, next});
    at_ = value + 1;
    return true;
}

/// A name is a string, or {"$string": base64}.
bool Tm_typed_json_reader::read_name(std::size_t at, std::string_view& name) {
    if (tokens_.is(at, Token::string)) {
        name = tokens_.text_of(at);
        return true;
    }
    bool const has_tag = tokens_.is(at, Token::object) && tokens_.is(at + 1, Token::key) &&
                         tokens_.text_of(at + 1) == "$string";
    if (!has_tag) return fail(at, "no string for a name");
    at_ = at;
    if (!tag_is_alone() || !is_base64(at + 2)) return false;
    std::string_view const text = tokens_.text_of(at + 2);
    bytes_.resize(tm_base64_size(text));
    tm_read_base64(text, bytes_.data());
    name = bytes_;
    return true;
}

// Messages

/// Finds the parts first, because they come in any order.
bool Tm_typed_json_reader::open_message(std::size_t value, std::size_t next) {
    Parts parts;
    if (!tokens_.is(value, Token::object)) return fail(value, "a message is no object");
    if (!read_parts(value, parts) || !begin_message(parts)) return false;
    open_.push_back({Kind::message, next, Stage::meta, parts});
    return true;
}

bool Tm_typed_json_reader::read_parts(std::size_t message, Parts& parts) {
    for (std::size_t key = message + 1; !tokens_.is(key, Token::end);
         key = tokens_.after(key + 1)) {
        std::string_view const name = tokens_.text_of(key);
        bool is_good = false;
        if (name == "request") {
            is_good = read_head(key, Head::request, parts);
        } else if (name == "response") {
            is_good = read_head(key, Head::response, parts);
        } else if (name == "fault") {
            is_good = read_head(key, Head::fault, parts);
        } else if (name == "meta") {
            is_good = note_part(key, parts.meta);
        } else if (name == "body") {
            is_good = note_part(key, parts.body);
        } else {
            return fail(key, "unknown key " + quoted(name) + " in a message");
        }
        if (!is_good) return false;
    }
    if (parts.head != Head::none) return true;
    return fail(message, R"(a message has no "request", "response" or "fault")");
}

/// A message has one head. The value of a request is its name, that of others is true.
bool Tm_typed_json_reader::read_head(std::size_t key, Head head, Parts& parts) {
    std::string const name = quoted(tokens_.text_of(key));
    if (parts.head == head) return fail(key, "duplicate key " + name);
    if (parts.head != Head::none) return fail(key, name + " beside another kind of message");
    parts.head = head;
    parts.name = key + 1;
    bool const is_true = tokens_.is(key + 1, Token::truth) && tokens_[key + 1].more != 0;
    return head == Head::request || is_true || fail(key + 1, name + " is not true");
}

bool Tm_typed_json_reader::note_part(std::size_t key, std::size_t& part) {
    if (part != 0) return fail(key, "duplicate key " + quoted(tokens_.text_of(key)));
    part = key + 1;
    return true;
}

bool Tm_typed_json_reader::begin_message(Parts const& parts) {
    std::string_view name;
    if (parts.head == Head::request && !read_name(parts.name, name)) return false;
    if (!emit<&Tm_creator::visit_method_begin>(parts.head == Head::request)) return false;
    if (parts.head == Head::fault) return emit<&Tm_creator::visit_fault_begin>();
    if (parts.head == Head::response) return true;
    at_ = parts.name;
    return emit<&Tm_creator::visit_method_name_begin>(length_of(name)) &&
           (name.empty() ||
            emit<&Tm_creator::visit_method_name_continue>(name.data(), length_of(name)));
}

/// A group that is absent is empty.
bool Tm_typed_json_reader::begin_group(std::size_t group) {
    if (group == 0) {
        return emit<&Tm_creator::visit_struct_begin>() && emit<&Tm_creator::visit_struct_end>();
    }
    std::size_t const key = group + 1;
    bool const is_struct = tokens_.is(group, Token::object) &&
                           (tokens_.is(key, Token::end) || !begins_with_tag(tokens_.text_of(key)) ||
                            tokens_.text_of(key) == "$struct");
    if (!is_struct) return fail(group, quoted(tokens_.text_of(group - 1)) + " is no struct");
    at_ = group;
    return read_object();
}

bool Tm_typed_json_reader::end_message() {
    Open const message = open_.back();
    bool const is_request = message.parts.head == Head::request;
    bool const is_fault = message.parts.head == Head::fault;
    if (is_fault && !emit<&Tm_creator::visit_fault_end>()) return false;
    if (!emit<&Tm_creator::visit_method_end>(is_request)) return false;
    open_.pop_back();
    return end_value(message.next);
}
