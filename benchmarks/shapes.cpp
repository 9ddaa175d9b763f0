#include "shapes.h"

#include <tmsg/tmsg.h>

namespace {

std::string big_endian(std::size_t number) {
    return {static_cast<char>(number >> 8), static_cast<char>(number)};
}

std::string named(std::string const& name, std::string const& value) {
    return "\x05\x07" + big_endian(name.size()) + name + value + "\x85";
}

/// Returns a response with these members in the body.
std::string response(std::string const& members, std::string const& meta = "") {
    return "\x02\x04" + meta + "\x84\x04" + members + "\x84\x82";
}

std::string int32(int number) {
    return std::string("\x11\0\0", 3) + big_endian(static_cast<std::size_t>(number));
}

std::string repeated(std::string const& piece, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) all += piece;
    return all;
}

std::string in_array(std::string const& values) {
    return response(named("a", "\x06" + values + "\x86"));
}

std::string nested(std::string const& opening, std::string const& closing, int depth) {
    return response(named("a", repeated(opening, depth) + "\x0C\x01" + repeated(closing, depth)));
}

std::string chunk(bool is_first, unsigned int number, std::string const& payload, bool is_last) {
    Tm_header header;
    header.set_first_chunk(is_first);
    header.set_last_chunk(is_last);
    header.set_seq_no(number);
    header.set_length(static_cast<unsigned int>(payload.size()));
    auto const& bytes = header.record().bytes;
    return std::string(reinterpret_cast<char const*>(bytes), sizeof bytes) + payload;
}

}  // namespace

std::string members(int count) {
    std::string all;
    for (int i = 0; i < count; ++i) all += named("name " + std::to_string(i), int32(i));
    return response(all);
}

std::string one_name(int count) { return response(repeated(named("a", int32(1)), count)); }

std::string long_names(int count) {
    std::string const common(60000, 'n');
    std::string all;
    for (int i = 0; i < count; ++i) all += named(common + std::to_string(i), int32(i));
    return response(all);
}

namespace {

/// Members with the names of a table, one after the other, each within `before` and `after`.
std::string by_index(int count, std::string const& before, std::string const& after) {
    std::string names;
    std::string all;
    for (int i = 0; i < count; ++i) {
        std::string const name = "name " + std::to_string(i);
        names += "\x08" + big_endian(name.size()) + name;
        all += before + "\x05\x07" + big_endian(static_cast<std::size_t>(i)) + int32(i) + "\x85" +
               after;
    }
    if (!before.empty()) all = "\x05\x07" + big_endian(0) + "\x06" + all + "\x86\x85";
    return response(all, named("catalog", "\x06" + names + "\x86"));
}

}  // namespace

std::string names_by_index(int count) { return by_index(count, "", ""); }
std::string structs_by_index(int count) { return by_index(count, "\x04", "\x84"); }

std::string empty_arrays(int count) { return in_array(repeated("\x06\x86", count)); }
std::string empty_structs(int count) { return in_array(repeated("\x04\x84", count)); }
std::string empty_messages(int count) { return in_array(repeated(response(""), count)); }

std::string nested_arrays(int depth) { return nested("\x06", "\x86", depth); }
std::string nested_structs(int depth) {
    return nested("\x04\x05\x07" + big_endian(1) + "s", "\x85\x84", depth);
}
std::string nested_messages(int depth) {
    return nested("\x02\x04\x84\x04\x05\x07" + big_endian(1) + "m", "\x85\x84\x82", depth);
}

std::string long_strings(int count) {
    constexpr std::size_t longest = 65535;
    return in_array(repeated("\x08" + big_endian(longest) + std::string(longest, 's'), count));
}

std::string first_chunks(int count) {
    std::string all;
    for (int i = 0; i < count; ++i) all += chunk(true, static_cast<unsigned int>(i), "\x02", false);
    return all;
}

std::string stray_chunks(int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += chunk(false, static_cast<unsigned int>(i), "\x02", false);
    }
    return all;
}

std::string one_byte_chunks(int count) {
    std::string const message = members(count);
    std::string all;
    for (std::size_t i = 0; i < message.size(); ++i) {
        all += chunk(i == 0, 1, message.substr(i, 1), i + 1 == message.size());
    }
    return all;
}

std::string list_members(int count) {
    std::string all = "response {struct {} struct {";
    for (int i = 0; i < count; ++i) all += "name" + std::to_string(i) + " {int32_t 7} ";
    return all + "}}";
}

std::string list_escapes(int count) {
    return R"(array {string ")" + repeated(R"(\n\"\x41)", count) + R"("})";
}

std::string list_arrays(int depth) { return repeated("array {", depth) + repeated("}", depth); }

std::string list_open_quotes(int count) { return R"(array {string ")" + repeated(R"(\"{)", count); }
