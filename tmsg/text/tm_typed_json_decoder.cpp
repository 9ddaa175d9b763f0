#include "tmsg/text/tm_typed_json_decoder.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

#include "tmsg/text/internal/tm_text_place.h"
#include "tmsg/text/internal/tm_typed_json_reader.h"
#include "tmsg/value/internal/tm_limit_error.h"

Tm_typed_json_decoder::Tm_typed_json_decoder(Tm_limits const& limits) : limits_(limits) {}

Tm_typed_json_decoder::~Tm_typed_json_decoder() = default;

bool Tm_typed_json_decoder::decode(std::string const& text) { return read(text, true); }

bool Tm_typed_json_decoder::decode_value(std::string const& text) { return read(text, false); }

bool Tm_typed_json_decoder::read(std::string_view text, bool is_message) {
    error_.clear();
    error_line_ = 0;
    error_column_ = 0;
    creator_.reset();
    result_.reset();
    try {
        read_tokens(text, is_message);
    } catch (std::exception const& failure) {
        if (error_.empty()) set_error(failure.what(), {});
        throw;
    }
    return error_.empty();
}

void Tm_typed_json_decoder::read_tokens(std::string_view text, bool is_message) {
    result_ = std::make_unique<Tm_array>();
    creator_ = std::make_unique<Tm_own_creator>(result_.get(), limits_);
    if (text.size() > limits_.max_message_bytes) {
        return set_error(tm_message_too_long(limits_), {});
    }
    Tm_json_tokens tokens(text);
    if (!tokens.read(limits_)) {
        return set_error(tokens.error(), text.substr(0, tokens.error_place()));
    }
    Tm_typed_json_reader reader(tokens, *creator_);
    try {
        if (reader.read(is_message)) return;
        set_error(reader.error(), text.substr(0, reader.place()));
    } catch (std::exception const& failure) {
        // This text stays if there is no memory for the other one.
        set_error(std::bad_alloc().what(), text.substr(0, reader.place()));
        set_error(failure.what(), text.substr(0, reader.place()));
        throw;
    }
}

/// The error is behind the text `before`.
void Tm_typed_json_decoder::set_error(std::string text, std::string_view before) {
    error_ = std::move(text);
    Tm_text_place const place = tm_place_behind(before);
    error_line_ = place.line;
    error_column_ = place.column;
}

Tm_value* Tm_typed_json_decoder::get_value() const {
    return error_.empty() && result_ != nullptr ? result_->get_value(0) : nullptr;
}

std::vector<std::string> const& Tm_typed_json_decoder::received_files() const {
    static std::vector<std::string> const none;
    return creator_ != nullptr ? creator_->received_files() : none;
}
