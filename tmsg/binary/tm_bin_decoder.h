/// The decoders of the wire form that build values. tm_bin_decoder_base.h shows how to use them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tmsg/binary/tm_bin_decoder_base.h"
#include "tmsg/fwd.h"
#include "tmsg/value/tm_owners.h"

/// Decodes one message at a time. The decoder owns the message until release_msg().
class TMSG_API Tm_bin_decoder : public Tm_bin_decoder_base {
public:
    explicit Tm_bin_decoder(long capacity, Tm_limits const& limits = {});
    ~Tm_bin_decoder() override;

    /// Destroys the message unless it was released, and begins a new one.
    void init() override;

    /// Returns the message with the members that have arrived. Do not change it before it is
    /// complete. It is valid until init() or the destructor. Returns null after release_msg().
    Message* message() const { return message_.get(); }
    /// Returns the message, which the caller owns from now on. The decoder ignores all further
    /// input until init().
    Message* release_msg();

    /// Returns the paths of the files that were received completely since init(). The decoder does
    /// not remove these files: pass the paths to tm_remove_received_files().
    std::vector<std::string> const& received_files() const;
    /// Returns the number of bytes of files received so far, incomplete files included.
    unsigned long file_bytes() const;
    /// Returns the number of bytes of memory that the message takes so far.
    unsigned long memory() const;

private:
    std::unique_ptr<Message> message_;
};

class Tm_array;

/// Decodes top-level values, one after another, into an array that the decoder owns. Each limit on
/// a message counts for one top-level value.
class TMSG_API Tm_bin_array_decoder : public Tm_bin_decoder_base {
public:
    explicit Tm_bin_array_decoder(long capacity, Tm_limits const& limits = {});
    ~Tm_bin_array_decoder() override;

    /// Destroys the array and begins a new one.
    void init() override;

    /// Returns the array, which is valid until init() or the destructor.
    Tm_array* array() const { return array_.get(); }

    /// Does what Tm_bin_decoder::received_files() does.
    std::vector<std::string> const& received_files() const;

private:
    Tm_owned<Tm_array> array_;
};
