/// Reads the one message of an input.
#include "forms/only_message.h"

#include <algorithm>
#include <string_view>

#include "io/input.h"

namespace {

/// Takes the size of the first chunk. The only chunk of a message, and an empty one, may be shorter
/// than the chunk size.
void note_chunks(Input& input, Writing& writing) {
    while (input.unread().size() < sizeof(TM_HEADER) && input.read_more()) continue;
    std::string_view const begin = input.unread();
    Tm_chunk_reader chunks;
    auto const* data = reinterpret_cast<unsigned char const*>(begin.data());
    std::size_t size = begin.size();
    if (chunks.next(data, size) != Tm_chunk_reader::Step::header) return;
    Tm_header const& first = chunks.header();
    int const length = static_cast<int>(first.get_length());
    bool const tells_size = !first.get_last_chunk() && length > 0;
    writing.chunk_size = tells_size ? length : std::max(length, writing.chunk_size);
    writing.seq_no = first.get_seq_no();
    writing.port = first.get_tmport();
}

/// Returns the text up to the first character of the second line that is no blank. Returns an empty
/// text when there is none in the first block.
std::string_view first_indentation(Input& input) {
    do {
        std::string_view const begin = input.unread();
        std::size_t const line = begin.find('\n');
        if (line == std::string_view::npos) continue;
        std::size_t const key = begin.find_first_not_of(' ', line + 1);
        if (key != std::string_view::npos) return begin.substr(0, key + 1);
    } while (input.unread().size() < input_block && input.read_more());
    return {};
}

/// Takes the indentation of the second line.
void note_indentation(Input& input, Writing& writing) {
    if (input.peek().substr(0, 1) != "{") return;
    std::string_view const begin = first_indentation(input);
    if (begin.empty() || begin.back() != '"') return;
    std::size_t const indent = begin.size() - begin.find('\n') - 2;
    writing.indent = static_cast<int>(std::min<std::size_t>(indent, 8));
}

}  // namespace

Only_message read_only_message(std::string const& path, Form form, Temporary_files& files,
                               Tm_limits const& limits) {
    Only_message only;
    only.writing.limit = Tm_text_encoder::NO_LIMIT;
    Input input(path);
    only.name = input.name();
    only.form = form == Form::automatic ? guess_form(input) : form;
    if (only.form == Form::chunks) note_chunks(input, only.writing);
    if (only.form == Form::typed_json) note_indentation(input, only.writing);
    only.message = read_message(input, form, files, limits);
    return only;
}
