/// Reads the method name at the head of a request and builds nothing, so that a receiver can choose
/// what to do with a message before it decodes it:
///
///     Tm_message_peek_decoder decoder(data, size);
///     if (decoder.complete() && decoder.decode()) route(decoder.method_name());
///
/// The input must outlive the decoder, which does not copy it.
/// decode() reads the announced number of name bytes WITHOUT CHECKING that the input has them. For
/// input from others, call it only after complete() has returned true, as above.
#pragma once

#include <string>

#include "tmsg/export.h"

class TMSG_API Tm_message_peek_decoder {
public:
    Tm_message_peek_decoder(unsigned char const* data, long length);
    virtual ~Tm_message_peek_decoder();

    /// Returns true when the input, from the read position on, has the whole head of a request:
    /// the tags before the name, the length of the name and the name. The next decode() then reads
    /// only within the input.
    bool complete() const;

    /// Appends the name to method_name(). Returns false when there is no name, as in a response, or
    /// when the input ends before the length of the name is complete.
    bool decode();

    std::string const& method_name() const { return method_name_; }
    /// After decode() has returned true, returns the position of the first byte of the name.
    long read_position() const { return read_; }

private:
    std::string method_name_;
    unsigned char const* data_;
    long length_;
    long read_ = 0;
};
