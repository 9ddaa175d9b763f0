/// Writes a message or value as list text, which Tm_tcl_decoder reads back:
///
///     request {name "add" struct {} struct {"a" {int32_t 1 } } }
///
/// The encoder escapes nothing. It writes byte strings in hexadecimal, and only the size of a file.
/// So the decoder cannot read a text with a byte string, with a file, or with a quote or backslash
/// in a name or string.
/// When the text has reached the size limit, the encoder writes "...SNIPPED..." in place of the
/// next member, or of the rest of a byte string. It then stops the walk, so that accept() returns
/// false.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

#include "tmsg/export.h"
#include "tmsg/fwd.h"
#include "tmsg/text/tm_text_encoder.h"
#include "tmsg/value/tm_plain.h"
#include "tmsg/value/tm_value.h"

class TMSG_API Tm_tcl_encoder : public Tm_folded_events<Tm_tcl_encoder, Tm_text_encoder> {
public:
    /// `limit` is the size limit in bytes of text.
    explicit Tm_tcl_encoder(unsigned int limit = DEFAULT_LIMIT);
    ~Tm_tcl_encoder() override;

    /// Passes the piece to visit_string_continue(), which a derived class may override.
    bool visit_method_name_continue(char const* data, unsigned int length) override {
        return visit_string_continue(data, length);
    }

    void clear() override;
    std::string const& get_string() const override;

private:
    friend class Tm_folded_events<Tm_tcl_encoder, Tm_text_encoder>;

    bool open(Tm_bracket bracket);
    bool close(Tm_bracket bracket);
    template <class Plain>
    bool put(Plain value) {
        append(Tm_value::tmv_to_string(Tm_plain<Plain>::code));
        append(" ");
        append_plain(value);
        append(" ");
        return true;
    }
    bool begin(Tm_bytes bytes, unsigned int length);
    bool piece(Tm_bytes bytes, char const* data, unsigned int length);
    bool snip();
};

/// Writes the message as list text with a size limit of 1,024 bytes, for logs.
/// Message::from_string() reads list text.
TMSG_API std::ostream& operator<<(std::ostream& out, Message const& message);
