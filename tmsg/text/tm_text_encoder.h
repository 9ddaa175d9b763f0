/// What the JSON and list encoders share: a text that grows with every event, and a limit from
/// which on it is cut short. An encoder takes one message or value after another, with clear() in
/// between.
#pragma once

#include <string>
#include <string_view>

#include "tmsg/export.h"
#include "tmsg/value/tm_visitor.h"

class TMSG_API Tm_text_encoder : public Tm_visitor {
public:
    /// In bytes of text.
    static constexpr unsigned int DEFAULT_LIMIT = 0x7FFFFFFF;

    ~Tm_text_encoder() override;

    /// Empties the text.
    virtual void clear() = 0;
    /// The text so far.
    virtual std::string const& get_string() const = 0;

protected:
    explicit Tm_text_encoder(unsigned int limit) : limit_(limit) {}
    Tm_text_encoder(Tm_text_encoder const&) = default;
    Tm_text_encoder& operator=(Tm_text_encoder const&) = default;

    void append(std::string_view text) { output_ += text; }
    /// "ab 01 ", byte by byte. False: the limit was reached, after at least one byte.
    bool append_hex(char const* data, unsigned int length);
    bool is_full() const { return output_.size() >= limit_; }

    /// A byte sequence of this length begins.
    void begin_item(unsigned int length);
    /// Counts a piece of it. True: it was the last.
    bool end_piece(unsigned int length) { return (received_ += length) == expected_; }

    std::string output_;

private:
    unsigned int expected_ = 0;
    unsigned int received_ = 0;
    unsigned int limit_;
};
