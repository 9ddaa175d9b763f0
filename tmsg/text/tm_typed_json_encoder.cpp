#include "tmsg/text/tm_typed_json_encoder.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "tmsg/binary/internal/tm_read_ahead.h"
#include "tmsg/text/internal/tm_base64.h"
#include "tmsg/text/internal/tm_json_text.h"
#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_file.h"
#include "tmsg/value/tm_value.h"

Tm_typed_json_encoder::Tm_typed_json_encoder() : Tm_typed_json_encoder(0) {}

Tm_typed_json_encoder::Tm_typed_json_encoder(int indent)
    : indent_(indent), base64_(std::make_unique<Tm_base64_writer>()) {}

Tm_typed_json_encoder::~Tm_typed_json_encoder() = default;

void Tm_typed_json_encoder::clear() {
    text_.clear();
    open_.clear();
    names_.clear();
    pairs_.clear();
    *base64_ = {};
    file_.reset();
}

// Values and what is around them

/// Returns false when no value can come next.
bool Tm_typed_json_encoder::begin_value() {
    if (is_in(Kind::message)) return false;
    if (open_.empty()) {
        if (!text_.empty()) text_ += '\n';
        value_begin_ = text_.size();
    } else if (open_.back().kind == Kind::array) {
        if (open_.back().has_items) text_ += ',';
        open_.back().has_items = true;
    }
    return true;
}

/// A struct is written as an object. Only its last name decides whether it can be one. So the text
/// gets its layout when the outermost value is complete, and only when it needs another one.
void Tm_typed_json_encoder::end_value() {
    if (!open_.empty() || (indent_ <= 0 && pairs_.empty())) return;
    for (std::size_t& place : pairs_) place -= value_begin_;
    std::sort(pairs_.begin(), pairs_.end());
    std::string const value =
        tm_lay_out_json(std::string_view(text_).substr(value_begin_), pairs_, indent_);
    text_.replace(value_begin_, std::string::npos, value);
    pairs_.clear();
}

bool Tm_typed_json_encoder::put_literal(std::string_view text) {
    if (!begin_value()) return false;
    text_ += text;
    end_value();
    return true;
}

bool Tm_typed_json_encoder::put(bool value) { return put_literal(value ? "true" : "false"); }

bool Tm_typed_json_encoder::put(int value) { return put_literal(Tm_decimal(value)); }

/// Without a point or an exponent, the number would be an integer.
bool Tm_typed_json_encoder::put(double value) {
    if (std::isnan(value)) return put_literal(R"({"$double":"NaN"})");
    if (std::isinf(value)) {
        return put_literal(value > 0 ? R"({"$double":"Infinity"})" : R"({"$double":"-Infinity"})");
    }
    constexpr std::string_view fraction = ".0";
    std::array<char, 32> number{};
    char* end = std::to_chars(number.begin(), number.end(), value).ptr;
    bool const is_bare =
        std::none_of(number.begin(), end, [](char c) { return c == '.' || c == 'e'; });
    if (is_bare) end = std::copy(fraction.begin(), fraction.end(), end);
    return put_literal({number.data(), static_cast<std::size_t>(end - number.data())});
}

/// The tag is the name of the type without its "_t". Many programs read numbers as doubles, which
/// do not have all integers of 64 bits.
bool Tm_typed_json_encoder::put_tagged(TMV type, std::string_view digits) {
    if (!begin_value()) return false;
    bool const is_text = type == TMV_INT64 || type == TMV_UINT64;
    std::string_view const name = Tm_value::tmv_to_string(type);
    text_ += "{\"$";
    text_ += name.substr(0, name.find('_'));
    text_ += is_text ? "\":\"" : "\":";
    text_ += digits;
    text_ += is_text ? "\"}" : "}";
    end_value();
    return true;
}

bool Tm_typed_json_encoder::open(Tm_bracket bracket) {
    if (bracket == Tm_bracket::fault) {
        if (!is_in(Kind::message)) return false;
        open_.back().head = Head::fault;
        return true;
    }
    bool const is_group = is_in(Kind::message) && bracket == Tm_bracket::structure;
    if (is_group ? !begin_group() : !begin_value()) return false;
    Open opened;
    opened.begin = text_.size();
    opened.first_name = names_.size();
    switch (bracket) {
        case Tm_bracket::structure:
            opened.kind = Kind::structure;
            text_ += '{';
            break;
        case Tm_bracket::array:
            opened.kind = Kind::array;
            text_ += '[';
            break;
        default:
            opened.kind = Kind::message;
            opened.head = bracket == Tm_bracket::request ? Head::request : Head::response;
            opened.is_tagged = !open_.empty();
            text_ += opened.is_tagged ? "{\"$message\":{" : "{";
    }
    open_.push_back(opened);
    return true;
}

bool Tm_typed_json_encoder::close(Tm_bracket bracket) {
    switch (bracket) {
        case Tm_bracket::fault:
            return is_in(Kind::message);
        case Tm_bracket::member:
            return is_in(Kind::structure);
        case Tm_bracket::structure:
            return close_struct();
        case Tm_bracket::array:
            if (!is_in(Kind::array)) return false;
            text_ += ']';
            open_.pop_back();
            end_value();
            return true;
        default:
            return close_message();
    }
}

// Messages

bool Tm_typed_json_encoder::begin_group() {
    constexpr std::array<std::string_view, 2> openings = {",\"meta\":", ",\"body\":"};
    auto const group = static_cast<std::size_t>(open_.back().groups);
    if (group == openings.size()) return false;
    if (!open_.back().has_items) put_head("");
    text_ += openings[group];
    ++open_.back().groups;
    return true;
}

void Tm_typed_json_encoder::put_head(std::string_view name) {
    Open& message = open_.back();
    message.has_items = true;
    switch (message.head) {
        case Head::request:
            text_ += "\"request\":";
            return put_text(name);
        case Head::response:
            text_ += "\"response\":true";
            return;
        case Head::fault:
            text_ += "\"fault\":true";
    }
}

bool Tm_typed_json_encoder::close_message() {
    constexpr int all_groups = 2;
    if (!is_in(Kind::message) || open_.back().groups != all_groups) return false;
    text_ += open_.back().is_tagged ? "}}" : "}";
    open_.pop_back();
    end_value();
    return true;
}

// Structs

/// A name that cannot be the name of a member of an object needs pairs.
void Tm_typed_json_encoder::put_name(std::string_view name) {
    Open& structure = open_.back();
    if (structure.has_items) text_ += ',';
    structure.has_items = true;
    Place place{text_.size(), 0};
    put_text(name);
    place.size = text_.size() - place.begin;
    names_.push_back(place);
    bool const is_tag = !name.empty() && name.front() == '$';
    if (is_tag || text_[place.begin] == '{') structure.needs_pairs = true;
    text_ += ':';
}

/// Different names have different texts.
bool Tm_typed_json_encoder::names_repeat(std::size_t first_name) {
    if (names_.size() - first_name < 2) return false;
    sorted_.clear();
    for (std::size_t i = first_name; i < names_.size(); ++i) {
        sorted_.push_back(std::string_view(text_).substr(names_[i].begin, names_[i].size));
    }
    std::sort(sorted_.begin(), sorted_.end());
    return std::adjacent_find(sorted_.begin(), sorted_.end()) != sorted_.end();
}

bool Tm_typed_json_encoder::close_struct() {
    if (!is_in(Kind::structure)) return false;
    Open const& structure = open_.back();
    if (structure.needs_pairs || names_repeat(structure.first_name)) {
        pairs_.push_back(structure.begin);
    }
    names_.resize(structure.first_name);
    text_ += '}';
    open_.pop_back();
    end_value();
    return true;
}

// Byte sequences

/// Strings and names are written when they are complete, byte strings and files as they come.
bool Tm_typed_json_encoder::begin(Tm_bytes bytes, unsigned int length) {
    bool const is_misplaced =
        (bytes == Tm_bytes::member_name && !is_in(Kind::structure)) ||
        (bytes == Tm_bytes::method_name && (!is_in(Kind::message) || open_.back().has_items));
    if (is_misplaced) return false;
    bytes_left_ = length;
    bytes_.clear();
    if (bytes == Tm_bytes::binary || bytes == Tm_bytes::file) {
        if (!begin_value()) return false;
        text_ += bytes == Tm_bytes::binary ? R"({"$binary":")" : R"({"$file":")";
    }
    return length != 0 || put_whole(bytes, "");
}

bool Tm_typed_json_encoder::piece(Tm_bytes bytes, char const* data, unsigned int length) {
    if (length > bytes_left_) return false;
    if (length == 0) return true;
    if (data == nullptr) return false;
    bytes_left_ -= length;
    std::string_view text(data, length);
    if (bytes == Tm_bytes::binary || bytes == Tm_bytes::file) {
        base64_->add(text, text_);
        return bytes_left_ != 0 || put_whole(bytes, "");
    }
    if (bytes_left_ == 0 && bytes_.empty()) return put_whole(bytes, text);
    bytes_ += text;
    return bytes_left_ != 0 || put_whole(bytes, bytes_);
}

/// Ends a sequence. The text is that of a string or name.
bool Tm_typed_json_encoder::put_whole(Tm_bytes bytes, std::string_view text) {
    switch (bytes) {
        case Tm_bytes::method_name:
            put_head(text);
            return true;
        case Tm_bytes::member_name:
            put_name(text);
            return true;
        case Tm_bytes::string:
            if (!begin_value()) return false;
            put_text(text);
            break;
        default:
            base64_->finish(text_);
            text_ += "\"}";
    }
    end_value();
    return true;
}

void Tm_typed_json_encoder::put_text(std::string_view text) {
    if (tm_is_utf8(text)) return tm_append_json_string(text_, text);
    text_ += R"({"$string":")";
    base64_->add(text, text_);
    base64_->finish(text_);
    text_ += "\"}";
}

/// A descriptor that has no positions is read from where it stands.
bool Tm_typed_json_encoder::visit_file_begin(int fd, unsigned int length) {
    bool const has_positions = ::lseek(fd, 0, SEEK_CUR) >= 0;
    file_ = has_positions ? std::make_unique<Tm_read_ahead>(fd) : nullptr;
    return visit_file_begin(length);
}

bool Tm_typed_json_encoder::visit_file_continue(int fd, std::string const& path,
                                                unsigned int length) {
    bytes_.resize(length);
    bool const is_begun = file_ != nullptr && file_->descriptor() == fd;
    long const got =
        is_begun ? file_->read(bytes_.data(), length) : Tm_file::read_n(fd, bytes_.data(), length);
    if (got != static_cast<long>(length)) throw Tm_file_read_exception(path);
    return visit_file_continue(bytes_.data(), length);
}
