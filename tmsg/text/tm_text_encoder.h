/// The base class of the JSON and list encoders. It has a text that grows with every event, and a
/// size limit at which the encoder cuts the text. Call clear() between two messages or values.
///
///     std::ofstream file("messages.json");
///     Tm_json_encoder json;
///     json.set_sink([&](std::string_view text) { file << text; });
///     message.accept(json);
///     file << json.get_string();  // the rest, which the sink has not got
#pragma once

#include <charconv>
#include <cstddef>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "tmsg/export.h"
#include "tmsg/value/tm_folded_events.h"
#include "tmsg/value/tm_text.h"
#include "tmsg/value/tm_visitor.h"

class TMSG_API Tm_text_encoder : public Tm_visitor {
public:
    /// The default size limit, in bytes of text.
    static constexpr unsigned int DEFAULT_LIMIT = 0x7FFFFFFF;
    /// As the size limit: there is none.
    static constexpr unsigned int NO_LIMIT = 0xFFFFFFFF;

    /// Takes the next piece of the text, which is valid during the call.
    using Sink = std::function<void(std::string_view text)>;

    ~Tm_text_encoder() override;

    /// Makes the encoder pass its text to the sink in pieces, so that it does not hold all of it.
    /// get_string() then returns the text after the last piece. The limit counts the whole text.
    /// When the sink throws, the exception passes through the event, and the encoder still has the
    /// piece.
    void set_sink(Sink sink) { sink_ = std::move(sink); }

    /// Empties the text.
    virtual void clear() = 0;
    /// Returns the text so far, without the pieces that the sink has got. It is valid until the
    /// next event. Two threads must not call this at the same time, because it changes the buffer.
    virtual std::string const& get_string() const = 0;

protected:
    explicit Tm_text_encoder(unsigned int limit)
        : limit_(limit == NO_LIMIT ? std::numeric_limits<std::size_t>::max() / 2 : limit),
          limit_left_(limit_) {}
    Tm_text_encoder(Tm_text_encoder const&) = default;
    Tm_text_encoder& operator=(Tm_text_encoder const&) = default;

    /// Returns room for the next `size` bytes of text. end_text() then ends the text at `end`.
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
    /// Appends an integer in decimal.
    template <class Whole>
    void append_plain(Whole value) {
        char* const at = make_room(number_size);
        end_text(std::to_chars(at, at + number_size, value).ptr);
    }
    /// Appends the number as printf writes it with %g in the C locale.
    void append_plain(double value);
    /// Appends "true" or "false".
    void append_plain(bool value) { append(value ? "true" : "false"); }
    /// Appends two hexadecimal digits and a blank for each byte, as in "ab 01 ". Stops when the
    /// text has reached the limit after at least one byte, and then returns false.
    bool append_hex(char const* data, unsigned int length);
    /// Returns whether the text has reached the limit.
    bool is_full() const { return size_ >= limit_left_; }

    /// Empties the text, and starts the limit again.
    void empty_text() {
        size_ = 0;
        limit_left_ = limit_;
    }
    /// Returns the text so far, without the pieces that the sink has got.
    std::string const& text() const {
        output_.resize(size_);
        return output_;
    }

    Tm_piece_count pieces_;  ///< counts the bytes of the open byte sequence

private:
    static constexpr std::size_t number_size = 32;

    void grow(std::size_t size);
    void hand_over();

    mutable std::string output_;  ///< the text and spare room, which text() cuts off
    std::size_t size_ = 0;        ///< the bytes of the text
    std::size_t limit_;
    std::size_t limit_left_;  ///< the limit less the bytes that the sink has got
    Sink sink_;
};
