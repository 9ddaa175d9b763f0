/// Reads the one message of an input.
#include "forms/only_message.h"

#include <algorithm>
#include <string_view>

#include "io/input.h"

namespace {

/// Takes the size of the first chunk. A message in a single chunk does not tell how long a chunk
/// may be.
void note_chunks(std::string_view input, Writing& writing) {
    Tm_chunk_reader chunks;
    auto const* data = reinterpret_cast<unsigned char const*>(input.data());
    std::size_t size = input.size();
    if (chunks.next(data, size) != Tm_chunk_reader::Step::header) return;
    Tm_header const& first = chunks.header();
    int const length = static_cast<int>(first.get_length());
    writing.chunk_size = first.get_last_chunk() ? std::max(length, writing.chunk_size) : length;
    writing.seq_no = first.get_seq_no();
    writing.port = first.get_tmport();
}

/// Takes the indentation of the second line.
void note_indentation(std::string_view input, Writing& writing) {
    std::size_t const line = input.find('\n');
    if (line == std::string_view::npos || input.substr(0, 1) != "{") return;
    std::size_t const key = input.find_first_not_of(' ', line + 1);
    if (key == std::string_view::npos || input[key] != '"') return;
    writing.indent = static_cast<int>(std::min<std::size_t>(key - line - 1, 8));
}

}  // namespace

Only_message read_only_message(std::string const& path, Form form, Temporary_files& files,
                               Tm_limits const& limits) {
    Only_message only;
    only.writing.limit = Tm_text_encoder::NO_LIMIT;
    Input input(path);
    only.name = input.name();
    only.form = form == Form::automatic ? guess_form(input) : form;
    std::string_view const begin = input.peek();
    if (only.form == Form::chunks) note_chunks(begin, only.writing);
    if (only.form == Form::typed_json) note_indentation(begin, only.writing);
    only.message = read_message(input, form, files, limits);
    return only;
}
