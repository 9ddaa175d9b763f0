#include "forms/wire_reader.h"

namespace {

int digit_of(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

}  // namespace

std::string_view Hex_source::peek() {
    while (taken_ == bytes_.size() && read_digits()) continue;
    return std::string_view(bytes_).substr(taken_);
}

void Hex_source::take(std::size_t size) {
    show_watcher(std::string_view(bytes_).substr(taken_, size));
    taken_ += size;
    offset_ += size;
}

/// Makes bytes of the next digits, up to the first bad character. Returns false at the end.
bool Hex_source::read_digits() {
    bytes_.clear();
    taken_ = 0;
    std::string_view const text = input_.peek();
    if (text.empty()) {
        if (high_ < 0) return false;
        throw Damage(place_, "hexadecimal digit without a second one");
    }
    std::size_t at = 0;
    for (; at < text.size(); ++at) {
        int const digit = digit_of(text[at]);
        if (digit < 0 && is_blank(text[at])) continue;
        if (digit < 0) break;
        if (high_ >= 0) bytes_ += static_cast<char>(16 * high_ + digit);
        high_ = high_ >= 0 ? -1 : digit;
    }
    if (at == 0) throw Damage(place_, "no hexadecimal digit: " + std::string(1, text[0]));
    move_behind(place_, text.substr(0, at));
    input_.take(at);
    return true;
}

std::size_t place_of_end(Tm_bin_decoder_base const& decoder, std::size_t size) {
    bool const is_between_items = decoder.error().empty() && decoder.state() == 0 &&
                                  decoder.read_position() == decoder.end_position();
    return is_between_items ? size : static_cast<std::size_t>(decoder.item_offset());
}

// The bytes that wait for the next block fit into the room that a decoder has beyond its capacity.
Wire_reader::Wire_reader(Byte_source& source, Tm_limits const& limits)
    : source_(source), decoder_(input_block, limits) {}

std::unique_ptr<Message> Wire_reader::next(Temporary_files& files, Wire_sink const& sink) {
    std::size_t const begin = source_.offset();
    if (source_.peek().empty()) return nullptr;
    begin_ = at_byte(begin);
    decoder_.init();
    Files_of const guard(decoder_, files);
    std::size_t damage = 0;
    bool is_complete = false;
    while (!is_complete && decoder_.error().empty()) {
        std::string_view const bytes = source_.peek();
        damage = place_of_end(decoder_, source_.offset() - begin);
        if (bytes.empty()) break;
        feed_next(bytes, sink);
        is_complete = decoder_.is_complete();
        damage = static_cast<std::size_t>(decoder_.item_offset());
    }
    decoder_.finalize();
    if (!decoder_.error().empty()) throw Damage(at_byte(begin + damage), decoder_.error());
    return std::unique_ptr<Message>(decoder_.release_msg());
}

void Wire_reader::feed_next(std::string_view bytes, Wire_sink const& sink) {
    auto const* const data = reinterpret_cast<unsigned char const*>(bytes.data());
    std::size_t taken = 0;
    decode_with([&] { taken = decoder_.feed_message(data, bytes.size()); });
    if (sink) sink(data, taken);
    source_.take(taken);
}

std::unique_ptr<Message> Hex_reader::next(Temporary_files& files, Wire_sink const& sink) {
    auto message = reader_.next(files, sink);
    begin_ = reader_.begin();
    return message;
}
