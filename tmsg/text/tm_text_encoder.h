/// What the JSON and list encoders share: a text that grows with every event, and a limit from
/// which on it is cut short. An encoder takes one message or value after another, with clear() in
/// between.
#pragma once

#include <charconv>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "tmsg/export.h"
#include "tmsg/value/tm_folded_events.h"
#include "tmsg/value/tm_text.h"
#include "tmsg/value/tm_visitor.h"

class TMSG_API Tm_text_encoder : public Tm_visitor {
public:
    /// In bytes of text.
    static constexpr unsigned int DEFAULT_LIMIT = 0x7FFFFFFF;

    /// Takes the next piece of the text, which is valid during the call.
    using Sink = std::function<void(std::string_view text)>;

    ~Tm_text_encoder() override;

    /// From now on the text goes to the sink in pieces, so that the encoder never holds all of it.
    /// get_string() returns the rest after the last piece. The limit counts the whole text. When
    /// the sink throws, the exception passes through the event, and the piece stays in the encoder.
    void set_sink(Sink sink) { sink_ = std::move(sink); }

    /// Empties the text.
    virtual void clear() = 0;
    /// The text so far, without the pieces that the sink has got. The call cuts the string to its
    /// size, so that two threads must not call it at the same time.
    virtual std::string const& get_string() const = 0;

protected:
    explicit Tm_text_encoder(unsigned int limit) : limit_(limit), limit_left_(limit) {}
    Tm_text_encoder(Tm_text_encoder const&) = default;
    Tm_text_encoder& operator=(Tm_text_encoder const&) = default;

    /// Where the next `size` bytes of text can be written; end_text() then says how many were.
    char* make_room(std::size_t size) {
        if (size > output_.size() - size_) grow(size);
        return output_.data() + size_;
    }
    void end_text(char const* end) { size_ = static_cast<std::size_t>(end - output_.data()); }

    void append(std::string_view text) {
        char* const at = make_room(text.size());
        tm_copy_bytes(at, text.data(), text.size());
        end_text(at + text.size());
    }
    /// A number, or the word for a bool.
    template <class Whole>
    void append_plain(Whole value) {
        char* const at = make_room(number_size);
        end_text(std::to_chars(at, at + number_size, value).ptr);
    }
    /// As printf writes it with %g in the C locale.
    void append_plain(double value);
    void append_plain(bool value) { append(value ? "true" : "false"); }
    /// "ab 01 ", byte by byte. False: the limit was reached, after at least one byte.
    bool append_hex(char const* data, unsigned int length);
    bool is_full() const { return size_ >= limit_left_; }

    void empty_text() {
        size_ = 0;
        limit_left_ = limit_;
    }
    std::string const& text() const {
        output_.resize(size_);
        return output_;
    }

    Tm_piece_count pieces_;  ///< of the byte sequence that has begun

private:
    static constexpr std::size_t number_size = 32;

    void grow(std::size_t size);
    void hand_over();

    mutable std::string output_;  ///< the text and room behind it, which text() cuts off
    std::size_t size_ = 0;        ///< of the text
    unsigned int limit_;
    unsigned int limit_left_;  ///< behind what the sink has got
    Sink sink_;
};
