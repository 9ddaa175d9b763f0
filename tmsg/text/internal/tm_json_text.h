/// Parts of JSON text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Returns whether the bytes are valid UTF-8.
bool tm_is_utf8(std::string_view bytes);

/// Appends the text in quotes, with escapes.
void tm_append_json_string(std::string& to, std::string_view text);

/// Gives valid JSON without blanks another layout.
/// `pairs` are the positions of braces that open an object without a tag, in ascending order. Each
/// of these objects becomes an object with the tag "$struct", which has a list of its members.
/// When `indent` is above 0, each element and member stands on a line of its own, `indent` blanks
/// further in than what is around it. Tags, whose names begin with "$", share the line of their
/// values.
std::string tm_lay_out_json(std::string_view text, std::vector<std::size_t> const& pairs,
                            int indent);
