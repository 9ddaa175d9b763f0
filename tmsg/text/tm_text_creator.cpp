#include "tmsg/text/tm_text_creator.h"

#include <cstddef>
#include <iterator>

#include "tmsg/value/internal/tm_limit_error.h"

Tm_text_creator::Tm_text_creator(FILE* stream, Tm_limits const& limits, unsigned long max_text)
    : stream_(stream), limits_(limits), max_text_(max_text) {}

Tm_text_creator::~Tm_text_creator() { std::fflush(stream_); }

char const* Tm_text_creator::type_to_c_str(Type type) {
    static char const* const labels[] = {
        "methodCall", "(name)",     "methodResponse", "fault",      "(name)",    "(struct)",
        "(array)",    "(string)",   "(date)",         "(binary)",   "(double)",  "(bool)",
        "(int8_t)",   "(uint8_t)",  "(int16_t)",      "(uint16_t)", "(int32_t)", "(uint32_t)",
        "(int64_t)",  "(uint64_t)", "(file)"};
    auto const index = static_cast<std::size_t>(type);
    return index < std::size(labels) ? labels[index] : "???";
}

void Tm_text_creator::write(std::string_view text) {
    if (is_full_) return;
    if (text.size() > max_text_ - written_) {
        error_ = tm_text_too_long(max_text_);
        is_full_ = true;
        return;
    }
    written_ += text.size();
    std::fwrite(text.data(), 1, text.size(), stream_);
}

void Tm_text_creator::indent() { indent_ += "  "; }

void Tm_text_creator::unindent() {
    if (indent_.size() > 1) indent_.resize(indent_.size() - 2);
}

void Tm_text_creator::output_type(Type type) { write(type_to_c_str(type)); }

void Tm_text_creator::output_newline(bool deeper) {
    if (deeper) indent();
    write("\n");
    write(indent_);
}

/// The indent of each line grows with the levels of each kind, so each kind has a limit.
unsigned int& Tm_text_creator::level_of(Tm_bracket bracket) {
    if (bracket == Tm_bracket::member) return members_;
    return bracket == Tm_bracket::fault ? faults_ : containers_;
}

bool Tm_text_creator::enter(Tm_bracket bracket) {
    unsigned int& level = level_of(bracket);
    if (level < limits_.max_depth) {
        ++level;
        return true;
    }
    error_ = tm_too_deep(limits_);
    return false;
}

bool Tm_text_creator::open(Tm_bracket bracket) {
    // In the order of Tm_bracket.
    constexpr Type types[] = {TYPE_CALL,   TYPE_RESPONSE, TYPE_FAULT,
                              TYPE_STRUCT, TYPE_ARRAY,    TYPE_MEMBER_NAME};
    bool const is_message = bracket == Tm_bracket::request || bracket == Tm_bracket::response;
    if (is_message) {
        indent_.clear();
        // Levels that an earlier message left open do not count for this one.
        if (containers_ == 0) members_ = faults_ = 0;
    }
    if (!enter(bracket)) return false;
    output_type(types[static_cast<int>(bracket)]);
    output_newline(true);
    return !is_full_;
}

bool Tm_text_creator::close(Tm_bracket bracket) {
    unsigned int& level = level_of(bracket);
    if (level > 0) --level;
    unindent();
    return !is_full_;
}

bool Tm_text_creator::put_scalar(TMV type, std::string_view text) {
    // In the order of the type codes.
    constexpr Type types[] = {TYPE_INT8,   TYPE_UINT8, TYPE_INT16,  TYPE_UINT16, TYPE_INT32,
                              TYPE_UINT32, TYPE_INT64, TYPE_UINT64, TYPE_DOUBLE, TYPE_BOOL};
    output_type(types[type]);
    write(" ");
    write(text);
    output_newline(false);
    return !is_full_;
}

bool Tm_text_creator::begin(Tm_bytes bytes, unsigned int length) {
    // In the order of Tm_bytes.
    constexpr Type types[] = {TYPE_METHOD_NAME, TYPE_MEMBER_NAME, TYPE_STRING, TYPE_BINARY,
                              TYPE_FILE};
    if (bytes == Tm_bytes::member_name && !enter(Tm_bracket::member)) return false;
    output_type(types[static_cast<int>(bytes)]);
    if (bytes == Tm_bytes::binary || bytes == Tm_bytes::file) {
        write("[");
        write(Tm_decimal(length));
        write("]");
        output_newline(true);
    } else {
        write(" ");
        indent();
    }
    pieces_.begin(length);
    return !is_full_;
}

/// Does not count a piece that goes beyond the announced length.
bool Tm_text_creator::piece(Tm_bytes bytes, char const* data, unsigned int length) {
    bool const is_text = bytes != Tm_bytes::binary && bytes != Tm_bytes::file;
    if (is_text) {
        write({data, length});
    } else {
        write(indent_);
        write("...[");
        write(Tm_decimal(length));
        write("]\n");
    }
    bool const is_last = pieces_.fits(length) && pieces_.take(length);
    if (!is_last || bytes == Tm_bytes::member_name) return !is_full_;
    if (bytes == Tm_bytes::method_name) write("\n");
    unindent();
    if (bytes == Tm_bytes::string) output_newline(false);
    return !is_full_;
}

bool Tm_text_creator::done() {
    std::fflush(stream_);
    indent_.clear();
    containers_ = members_ = faults_ = 0;
    return true;
}

bool Tm_text_creator::support_member_with_index() { return false; }

Tm_bin_decoder_to_text::Tm_bin_decoder_to_text(long capacity, FILE* stream, Tm_limits const& limits,
                                               unsigned long max_text)
    : Tm_bin_decoder_base(capacity, limits), stream_(stream), max_text_(max_text) {
    limit_each_value();
    Tm_bin_decoder_to_text::init();
}

Tm_bin_decoder_to_text::~Tm_bin_decoder_to_text() = default;

void Tm_bin_decoder_to_text::init() {
    auto creator = std::make_unique<Tm_text_creator>(stream_, limits(), max_text_);
    Tm_bin_decoder_base::init();
    creator_ = std::move(creator);
}

/// Reports a refused piece of the last item, because no further item does.
void Tm_bin_decoder_to_text::finalize() {
    Tm_bin_decoder_base::finalize();
    if (error().empty() && !creator_->error().empty()) set_error(creator_->error());
}
