#include "forms/text_reader.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "forms/text_scanner.h"

Text_reader::Text_reader(Input& input, Form form, Tm_limits const& limits)
    : input_(input), form_(form), limits_(limits) {}

std::unique_ptr<Message> Text_reader::next(Temporary_files& files, Wire_sink const&) {
    if (!skip_blanks()) return nullptr;
    begin_ = place_;
    read_text();
    move_behind(place_, text_);
    if (form_ == Form::tcl) return decode<Tm_tcl_decoder>(files);
    return decode<Tm_typed_json_decoder>(files);
}

/// Returns false at the end of the input.
bool Text_reader::skip_blanks() {
    for (std::string_view bytes; !(bytes = input_.peek()).empty();) {
        std::size_t const size = std::min(bytes.find_first_not_of(blanks_of(form_)), bytes.size());
        move_behind(place_, bytes.substr(0, size));
        input_.take(size);
        if (size < bytes.size()) return true;
    }
    return false;
}

/// Reads the text of one message. Stops behind the limit when the text is too long, because the
/// decoder refuses it then.
void Text_reader::read_text() {
    Text_scanner scanner(form_);
    text_.clear();
    while (!scanner.is_complete() && text_.size() <= limits_.max_message_bytes) {
        std::string_view const bytes = input_.peek();
        if (bytes.empty()) return;
        std::size_t const size = scanner.scan(bytes);
        text_ += bytes.substr(0, size);
        input_.take(size);
    }
}

/// Returns the place in the input of a place in the text of the message.
Place Text_reader::place_of(int line, int column) const {
    auto const lines = static_cast<std::size_t>(std::max(line, 1)) - 1;
    auto const columns = static_cast<std::size_t>(std::max(column, 1)) - 1;
    return at_line(begin_.line + lines, lines == 0 ? begin_.column + columns : columns + 1);
}

template <class Decoder>
std::unique_ptr<Message> Text_reader::decode(Temporary_files& files) const {
    Decoder decoder(limits_);
    Files_of const guard(decoder, files);
    decode_with([&] { decoder.decode(text_); });
    if (!decoder.error().empty()) {
        throw Damage(place_of(decoder.error_line(), decoder.error_column()), decoder.error());
    }
    Tm_value& value = *decoder.get_value();
    if (value.get_value_type() != TMV_MESSAGE) {
        throw Damage(begin_, "message expected but not found in: " + text_);
    }
    return std::make_unique<Message>(std::move(static_cast<Message&>(value)));
}
