/// Reads the method name at the head of a request without building anything, so that a receiver
/// can route a message before it decodes it. The input is borrowed.
///
/// decode() takes the announced number of name bytes WITHOUT CHECKING that the input holds them.
/// Whoever cannot vouch for the input asks complete() first, and calls decode() only if it is true.
#pragma once

#include <string>

#include "tmsg/export.h"

class TMSG_API Tm_message_peek_decoder {
public:
    Tm_message_peek_decoder(unsigned char const* data, long length);
    virtual ~Tm_message_peek_decoder();

    /// The input holds, from the read position on, the head of a request entirely: its leading
    /// tags, the length of the name and the whole name. The next decode() stays within the input
    /// then.
    bool complete() const;

    /// Appends the name to method_name(). False: there is none, as in responses, or not even its
    /// length is there.
    bool decode();

    std::string const& method_name() const { return method_name_; }
    /// After decode() found a name: where its bytes begin.
    long read_position() const { return read_; }

private:
    std::string method_name_;
    unsigned char const* data_;
    long length_;
    long read_ = 0;
};
