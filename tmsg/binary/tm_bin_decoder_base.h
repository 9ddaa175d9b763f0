/// Reads the binary wire form, cut anywhere, and replays it as events of a creator. Unread bytes
/// wait in a buffer for the rest of their item; subclasses say what is built. Feed pieces with
/// add_to_buffer() and decode() in turn, call finalize() after the last one; init() makes the
/// decoder ready for the next message, after an error or an exception too.
///
/// Bad input, and input beyond the limits, sets an error text that stays until init(); all further
/// input is ignored. Exceptions, but for std::bad_alloc, come from the creator alone:
/// Tm_file_open_exception and Tm_file_mapping_exception for a received file, std::out_of_range for
/// a name index and Tm_type_mismatch_exception for a name table of hostile input; their text
/// becomes the error text too.
#pragma once

#include <memory>
#include <string>

#include "tmsg/creator/tm_creator_base.h"
#include "tmsg/export.h"
#include "tmsg/value/tm_limits.h"

class TMSG_API Tm_bin_decoder_base {
public:
    /// Bytes that the buffer takes beyond its capacity.
    static constexpr long EXTRA_CAPACITY = 128;

    explicit Tm_bin_decoder_base(long capacity, Tm_limits const& limits = {});
    Tm_bin_decoder_base(Tm_bin_decoder_base const&) = delete;
    Tm_bin_decoder_base& operator=(Tm_bin_decoder_base const&) = delete;
    virtual ~Tm_bin_decoder_base();

    virtual void init();
    /// Says that no more input comes: an incomplete message becomes an error.
    virtual void finalize();

    /// False, and nothing is taken, for more bytes than there is room for.
    bool add_to_buffer(unsigned char const* data, long length);
    /// Moves unread bytes to the front of the buffer.
    void pack_buffer();
    /// Emits the events of all complete items. False: an incomplete one remains.
    bool decode();

    void set_error(std::string const& text);
    /// "TEXT: TAGh at byte POSITION"
    void set_error(std::string const& text, unsigned char tag, long position);

    /// Empty while all is well.
    std::string const& error() const { return error_; }
    /// 0 between items, 1 within the bytes of one, 2 failed.
    int state() const { return static_cast<int>(state_); }
    /// Positions in the buffer, which move when it is packed.
    long read_position() const { return read_; }
    long end_position() const { return end_; }
    /// Where the current item, or the one that failed, begins in the whole input since init().
    long item_offset() const { return item_offset_; }

protected:
    /// Ignores all further input until init(), for the result is no longer the decoder's.
    void seal() { sealed_ = true; }

    Tm_limits const& limits() const { return limits_; }

    std::unique_ptr<Tm_creator_base> creator_;

private:
    enum class State { between_items, within_item, failed };
    using Begin_event = bool (Tm_creator_base::*)(unsigned int);
    using Continue_event = bool (Tm_creator_base::*)(char const*, unsigned int);

    bool decode_buffer();
    bool decode_item();
    bool act_on(unsigned char tag);
    bool replay_scalar(unsigned char tag);
    bool replay_bracket(unsigned char tag);
    bool begin_member();
    template <class Length>
    bool begin_bytes(Begin_event begin, Continue_event piece);
    void enter_item(unsigned int length, Continue_event piece);
    bool pass_piece();
    bool is_too_long(long end) const;

    long available() const { return end_ - read_; }
    template <class Unsigned>
    Unsigned take_number();
    double take_double();

    Tm_limits limits_;
    std::unique_ptr<unsigned char[]> buffer_;
    long read_ = 0;
    long end_ = 0;
    long packed_ = 0;  ///< bytes of the message that have left the buffer
    long item_offset_ = 0;
    unsigned char item_tag_ = 0;
    long capacity_;
    long passed_ = 0;  ///< of the current item's bytes
    long total_ = 0;
    Continue_event continue_ = nullptr;
    State state_ = State::between_items;
    bool sealed_ = false;
    std::string error_;
};
