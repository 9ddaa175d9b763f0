#include "tmsg/value/tm_path.h"

#include <algorithm>
#include <charconv>

namespace {

bool is_control(char byte) {
    constexpr unsigned char first_printable = 0x20;
    constexpr unsigned char rubout = 0x7F;
    auto const code = static_cast<unsigned char>(byte);
    return code < first_printable || code == rubout;
}

bool is_special(char byte) {
    return is_control(byte) || std::string_view(".[]\"").find(byte) != std::string_view::npos;
}

void append_quoted(std::string& path, std::string_view name) {
    constexpr char digits[] = "0123456789ABCDEF";
    path += "[\"";
    for (char const byte : name) {
        if (is_control(byte)) {
            auto const code = static_cast<unsigned char>(byte);
            path += {'\\', 'x', digits[code / 16], digits[code % 16]};
        } else {
            if (byte == '"' || byte == '\\') path += '\\';
            path += byte;
        }
    }
    path += "\"]";
}

/// Reads what an escape stands for, behind its backslash.
bool take_escaped(std::string_view& rest, std::string& name) {
    if (rest.empty()) return false;
    char const kind = rest.front();
    if (kind == '"' || kind == '\\') {
        name += kind;
        rest.remove_prefix(1);
        return true;
    }
    constexpr std::size_t length = 3;
    unsigned char code = 0;
    if (kind != 'x' || rest.size() < length) return false;
    char const* const end = rest.data() + length;
    auto const result = std::from_chars(rest.data() + 1, end, code, 16);
    if (result.ptr != end) return false;
    name += static_cast<char>(code);
    rest.remove_prefix(length);
    return true;
}

/// Reads a name in quotes, and the bracket behind it. The path begins behind the first quote.
std::optional<Tm_path_step> take_quoted(std::string_view& path) {
    Tm_path_step step;
    while (!path.empty() && path.front() != '"') {
        char const byte = path.front();
        path.remove_prefix(1);
        if (byte != '\\') {
            step.name += byte;
        } else if (!take_escaped(path, step.name)) {
            return {};
        }
    }
    if (path.substr(0, 2) != "\"]") return {};
    path.remove_prefix(2);
    return step;
}

/// Reads a position, and the bracket behind it.
std::optional<Tm_path_step> take_position(std::string_view& path) {
    Tm_path_step step;
    char const* const end = path.data() + path.size();
    auto const result = std::from_chars(path.data(), end, step.position);
    bool const is_position = result.ec == std::errc() && path.front() != '-';
    if (!is_position || result.ptr == end || *result.ptr != ']') return {};
    path.remove_prefix(static_cast<std::size_t>(result.ptr - path.data()) + 1);
    return step;
}

}  // namespace

void tm_append_name(std::string& path, std::string_view name) {
    bool const is_quoted = name.empty() || std::any_of(name.begin(), name.end(), is_special);
    if (is_quoted) return append_quoted(path, name);
    if (!path.empty()) path += '.';
    path += name;
}

void tm_append_position(std::string& path, int position) {
    path += '[' + std::to_string(position) + ']';
}

std::optional<Tm_path_step> tm_take_step(std::string_view& path, bool is_first) {
    if (path.empty()) return {};
    if (path.front() == '[') {
        bool const is_name = path.substr(1, 1) == "\"";
        path.remove_prefix(is_name ? 2 : 1);
        return is_name ? take_quoted(path) : take_position(path);
    }
    if (!is_first) {
        if (path.front() != '.') return {};
        path.remove_prefix(1);
    }
    auto const end = std::find_if(path.begin(), path.end(), is_special);
    auto const length = static_cast<std::size_t>(end - path.begin());
    bool const ends_well = end == path.end() || *end == '.' || *end == '[';
    if (length == 0 || !ends_well) return {};
    Tm_path_step step;
    step.name = path.substr(0, length);
    path.remove_prefix(length);
    return step;
}
