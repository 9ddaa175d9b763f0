/// The decoders of the binary form that build values.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tmsg/binary/tm_bin_decoder_base.h"
#include "tmsg/value/tm_owners.h"

class Message;

/// Decodes one message at a time. The message is the decoder's until it is released.
class TMSG_API Tm_bin_decoder : public Tm_bin_decoder_base {
public:
    explicit Tm_bin_decoder(long capacity, Tm_limits const& limits = {});
    ~Tm_bin_decoder() override;

    /// Drops the message unless it was released, and begins a new one.
    void init() override;

    /// The message under construction, to be read but not changed before it is complete; null once
    /// it is released.
    Message* message() const { return message_.get(); }
    /// The caller owns it from now on, and it is not built any further.
    Message* release_msg();

    /// The paths of the files that were received completely so far, for who drops the message.
    std::vector<std::string> const& received_files() const;
    /// Bytes of received files so far, of unfinished ones too.
    unsigned long file_bytes() const;
    /// The bytes of memory that the message takes so far.
    unsigned long memory() const;

private:
    std::unique_ptr<Message> message_;
};

class Tm_array;

/// Decodes top-level values, one after another, into an array that stays the decoder's. The limit
/// on the bytes of a message starts anew with each of them.
class TMSG_API Tm_bin_array_decoder : public Tm_bin_decoder_base {
public:
    explicit Tm_bin_array_decoder(long capacity, Tm_limits const& limits = {});
    ~Tm_bin_array_decoder() override;

    /// Begins a new array.
    void init() override;

    Tm_array* array() const { return array_.get(); }

    /// The paths of the files that were received completely so far, for who drops the array.
    std::vector<std::string> const& received_files() const;

private:
    Tm_owned<Tm_array> array_;
};
