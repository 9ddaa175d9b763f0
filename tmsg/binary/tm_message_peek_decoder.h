/// Reads the method name at the head of a request and builds nothing, so that a receiver can route
/// a message before it decodes it. The input must outlive the decoder, which does not copy it.
///
/// decode() reads the announced number of name bytes WITHOUT CHECKING that the input holds them.
/// For input from others call complete() first, and call decode() only if it returns true.
#pragma once

#include <string>

#include "tmsg/export.h"

class TMSG_API Tm_message_peek_decoder {
public:
    Tm_message_peek_decoder(unsigned char const* data, long length);
    virtual ~Tm_message_peek_decoder();

    /// Returns true when the input, from the read position on, holds the whole head of a request:
    /// the leading tags, the length of the name and the name. The next decode() then stays within
    /// the input.
    bool complete() const;

    /// Appends the name to method_name(). Returns false when there is no name, as in a response, or
    /// when the input ends before its length.
    bool decode();

    std::string const& method_name() const { return method_name_; }
    /// Returns the position in the input where the bytes of the name begin, after decode() returned
    /// true.
    long read_position() const { return read_; }

private:
    std::string method_name_;
    unsigned char const* data_;
    long length_;
    long read_ = 0;
};
