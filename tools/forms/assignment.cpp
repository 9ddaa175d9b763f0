/// Reads assignments and changes trees.
#include "forms/assignment.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "forms/value_text.h"
#include "io/input.h"
#include "io/system.h"

namespace {

constexpr std::array types = {TMV_INT8,   TMV_UINT8,  TMV_INT16,  TMV_UINT16, TMV_INT32,
                              TMV_UINT32, TMV_INT64,  TMV_UINT64, TMV_DOUBLE, TMV_BOOL,
                              TMV_STRING, TMV_BINARY, TMV_FILE};

/// Returns the length of the path at the front of an assignment.
std::size_t length_of_path(std::string_view text) {
    bool is_quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char const c = text[i];
        if (c == '"') is_quoted = !is_quoted;
        if (c == '\\' && is_quoted) ++i;
        if (!is_quoted && (c == ':' || c == '=')) return i;
    }
    return std::string_view::npos;
}

TMV type_named(std::string_view name) {
    std::string names;
    for (TMV const type : types) {
        if (type_name(type) == name) return type;
        names += (names.empty() ? "" : ", ") + std::string(type_name(type));
    }
    throw Failure("no such type: " + std::string(name) + "; the types are " + names);
}

[[noreturn]] void refuse(TMV type, std::string const& text) {
    throw Failure("no " + std::string(type_name(type)) + ": " + text);
}

/// The text must have the form of a number in JSON. List text would also take text behind a number,
/// and would make the largest number of one that is too large.
std::unique_ptr<Tm_value> make_number(TMV type, std::string const& text) {
    bool const is_name = text == "NaN" || text == "Infinity" || text == "-Infinity";
    bool const has_only_digits = text.find_first_not_of("0123456789+-.eE") == std::string::npos;
    if (!has_only_digits && !(is_name && type == TMV_DOUBLE)) refuse(type, text);
    std::string_view tag = type_name(type);
    tag = tag.substr(0, tag.find('_'));
    std::string json = "{\"$";
    json.append(tag).append("\":");
    json += is_name ? '"' + text + '"' : text;
    Tm_typed_json_decoder decoder;
    if (!decoder.decode_value(json + '}')) refuse(type, text);
    return std::unique_ptr<Tm_value>(decoder.get_value()->clone());
}

std::unique_ptr<Tm_value> make_bool(std::string const& text) {
    if (text != "true" && text != "false") refuse(TMV_BOOL, text);
    return std::make_unique<Tm_bool>(text == "true");
}

bool names_file(std::string const& text) { return text.size() > 1 && text.front() == '@'; }

std::unique_ptr<Tm_value> make_binary(std::string const& text) {
    constexpr unsigned int most = ~0U;
    std::string const bytes = names_file(text) ? Input(text.substr(1)).read_all(most) : text;
    if (bytes.size() > most) throw Failure("longer than " + std::to_string(most) + " bytes");
    return std::make_unique<Tm_binary>(reinterpret_cast<unsigned char const*>(bytes.data()),
                                       static_cast<unsigned int>(bytes.size()));
}

std::unique_ptr<Tm_value> make_file(std::string const& text) {
    if (!names_file(text)) throw Failure("a file takes @FILE, not: " + text);
    return std::make_unique<Tm_file>(text.substr(1), 0U);
}

std::unique_ptr<Tm_value> make_typed(TMV type, std::string const& text) {
    switch (type) {
        case TMV_BOOL:
            return make_bool(text);
        case TMV_STRING:
            return std::make_unique<Tm_string>(text);
        case TMV_BINARY:
            return make_binary(text);
        case TMV_FILE:
            return make_file(text);
        default:
            return make_number(type, text);
    }
}

void set_element(Tm_array& elements, Tm_path_step const& step, std::unique_ptr<Tm_value> value) {
    int const count = elements.get_member_count();
    if (step.position < 0) throw Failure("an array has positions, no names");
    if (step.position > count) {
        throw Failure("beyond the end of an array of " + std::to_string(count) + " values");
    }
    if (step.position == count) return elements.insert_value(count, std::move(value));
    elements.replace_value(step.position, std::move(value));
}

void set_group(Message& message, Tm_path_step const& step, Tm_value& value) {
    bool const is_meta = step.position < 0 && step.name == "meta";
    bool const is_body = step.position < 0 && step.name == "body";
    if (!is_meta && !is_body) throw Failure("a message has only meta and body");
    if (value.get_value_type() != TMV_STRUCT) {
        throw Failure("takes a struct, not: " + std::string(type_name(value.get_value_type())));
    }
    auto const group = is_meta ? Message::TMG_META : Message::TMG_BODY;
    message.get_struct(group) = std::move(static_cast<Tm_struct&>(value));
}

}  // namespace

Assignment::Assignment(std::string const& text) {
    std::size_t const length = length_of_path(text);
    std::size_t const sign = length == std::string::npos ? length : text.find('=', length);
    if (length == 0 || sign == std::string::npos) {
        throw Failure("no PATH=VALUE, PATH:=JSON or PATH:TYPE=VALUE: " + text);
    }
    path_ = text.substr(0, length);
    content_ = text.substr(sign + 1);
    split_path();
    if (text[length] == '=') return;
    std::string const type = text.substr(length + 1, sign - length - 1);
    kind_ = type.empty() ? Kind::json : Kind::given_type;
    if (!type.empty()) type_ = type_named(type);
}

void Assignment::split_path() {
    std::string_view rest = path_;
    while (!rest.empty()) {
        std::size_t const begin = path_.size() - rest.size();
        auto step = tm_take_step(rest, begin == 0);
        if (!step) throw Failure("bad path: " + path_);
        parent_ = path_.substr(0, begin);
        last_ = *std::move(step);
    }
}

void Assignment::apply(Tm_value& root, Temporary_files& files, Tm_limits const& limits) const {
    std::unique_ptr<Tm_value> value;
    if (kind_ == Kind::json) value = read_typed_json(path_, content_, files, limits);
    try {
        // The caller may change the root, and so all that it owns.
        auto& parent = const_cast<Tm_value&>(value_at(root, parent_));
        if (value == nullptr) value = make_typed(type_beside(tm_at(root, path_)), content_);
        place(parent, std::move(value));
    } catch (Failure const& failure) {
        throw Failure(path_ + ": " + failure.what());
    } catch (Tm_exception const& failure) {
        throw Failure(path_ + ": " + failure.what());
    }
}

/// Returns the type of the new value, when `old` stands in its place or is null.
TMV Assignment::type_beside(Tm_value const* old) const {
    if (kind_ == Kind::given_type || old == nullptr) return type_;
    TMV const type = old->get_value_type();
    if (std::find(types.begin(), types.end(), type) != types.end()) return type;
    throw Failure("holds a value of type " + std::string(type_name(type)) + ", so write " + path_ +
                  ":=JSON");
}

void Assignment::place(Tm_value& parent, std::unique_ptr<Tm_value> value) const {
    switch (TMV const type = parent.get_value_type()) {
        case TMV_STRUCT:
            if (last_.position >= 0) throw Failure("a struct has names, no positions");
            static_cast<Tm_struct&>(parent).set_member(last_.name, std::move(value));
            return;
        case TMV_ARRAY:
            return set_element(static_cast<Tm_array&>(parent), last_, std::move(value));
        case TMV_MESSAGE:
            return set_group(static_cast<Message&>(parent), last_, *value);
        default:
            throw Failure("a value of type " + std::string(type_name(type)) + " has no members");
    }
}

std::unique_ptr<Tm_value> read_typed_json(std::string const& where, std::string const& json,
                                          Temporary_files& files, Tm_limits const& limits) {
    Tm_typed_json_decoder decoder(limits);
    Files_of const guard(decoder, files);
    if (decoder.decode_value(json)) return std::unique_ptr<Tm_value>(decoder.get_value()->clone());
    throw Failure(where + ':' + std::to_string(decoder.error_line()) + ':' +
                  std::to_string(decoder.error_column()) + ": " + decoder.error());
}
