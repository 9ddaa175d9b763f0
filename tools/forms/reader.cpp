#include "forms/reader.h"

#include <new>
#include <string_view>

#include "forms/text_reader.h"
#include "forms/text_scanner.h"
#include "forms/wire_reader.h"

namespace {

constexpr char const* empty_text = ": the input is empty";

/// Returns the form of an input that begins with a zero byte, which is the version of a chunk or
/// the tag of a request. A method name follows the tag.
Form guess_behind_zero(std::string_view bytes) {
    constexpr char name_tag = 1;
    return bytes.size() < 2 || bytes[1] == name_tag ? Form::wire : Form::chunks;
}

bool is_text_byte(char c) { return (c >= ' ' && c != '\x7F') || static_cast<signed char>(c) < 0; }

/// Returns the form of a text by its first character that is no blank.
Form guess_text(char c) {
    if (c == '{' || c == '[') return Form::typed_json;
    return c >= '0' && c <= '9' ? Form::hex : Form::tcl;
}

}  // namespace

Form guess_form(Input& input) {
    if (input.peek().empty()) throw Failure(input.name() + empty_text);
    if (input.unread()[0] == 0) {
        if (input.unread().size() < 2) input.read_more();
        return guess_behind_zero(input.unread());
    }
    while (true) {
        std::string_view const bytes = input.unread();
        std::size_t const first = bytes.find_first_not_of(blanks_of(Form::tcl));
        if (first != std::string_view::npos) {
            return is_text_byte(bytes[first]) ? guess_text(bytes[first]) : Form::wire;
        }
        if (bytes.size() >= input_block) return Form::tcl;
        if (!input.read_more()) throw Failure(input.name() + empty_text);
    }
}

std::unique_ptr<Form_reader> make_form_reader(Input& input, Form form, Tm_limits const& limits) {
    switch (form) {
        case Form::wire:
            return std::make_unique<Wire_reader>(input, limits);
        case Form::hex:
            return std::make_unique<Hex_reader>(input, limits);
        case Form::chunks:
            return std::make_unique<Chunk_reader>(input, limits);
        default:
            return std::make_unique<Text_reader>(input, form, limits);
    }
}

Input_form::Input_form(Input& input, Form form)
    : form_(form == Form::automatic ? guess_form(input) : form),
      is_guessed_(form == Form::automatic) {
    if (input.peek().empty()) throw Failure(input.name() + empty_text);
}

std::string Input_form::hint() const {
    if (!is_guessed_) return {};
    return "; read as " + name_of(form_) + ", name another form with --from";
}

Failure failure_at(Input const& input, Place const& place, std::string const& text) {
    return Failure(place_in(input.name(), place) + ": " + text);
}

Message_reader::Message_reader(Input& input, Form form, Tm_limits const& limits)
    : input_(input), form_(input, form), reader_(make_form_reader(input, form_.form(), limits)) {}

std::unique_ptr<Message> Message_reader::next(Wire_sink const& sink) {
    files_.remove();
    try {
        auto message = reader_->next(files_, sink);
        if (message == nullptr && is_empty_) throw Failure(input_.name() + empty_text);
        is_empty_ = false;
        return message;
    } catch (Damage const& damage) {
        std::string const hint = is_empty_ ? form_.hint() : "";
        throw failure_at(input_, damage.place(), damage.what() + hint);
    } catch (std::bad_alloc const& error) {
        throw Failure(input_.name() + ": " + text_of(error));
    }
}

Failure Message_reader::failure(std::string const& text) const {
    return failure_at(input_, reader_->begin(), text);
}

std::unique_ptr<Message> read_message(Input& input, Form form, Temporary_files& files,
                                      Tm_limits const& limits) {
    Message_reader reader(input, form, limits);
    auto message = reader.next();
    reader.files().move_to(files);
    if (reader.next() != nullptr) throw reader.failure("another message follows the first one");
    return message;
}

void Temporary_files::add(std::vector<std::string> const& paths) {
    paths_.insert(paths_.end(), paths.begin(), paths.end());
}

void Temporary_files::add(Message const& received) {
    tm_for_each_file(received, [&](Tm_file const& file) { paths_.push_back(file.path()); });
}

void Temporary_files::remove() {
    tm_remove_received_files(paths_);
    paths_.clear();
}

void Temporary_files::move_to(Temporary_files& other) {
    other.add(paths_);
    paths_.clear();
}
