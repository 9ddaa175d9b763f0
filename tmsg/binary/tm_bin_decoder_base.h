/// Reads the binary wire form, cut anywhere, and replays it as events of a creator; subclasses say
/// what is built. Pass the input to feed(), in any pieces, and call finalize() after the last one.
/// init() makes the decoder ready for the next message, after an error or an exception too.
///
///     Tm_bin_decoder decoder(4096);
///     decoder.feed(data, size);
///     decoder.finalize();
///     if (decoder.error().empty()) use(std::unique_ptr<Message>(decoder.release_msg()));
///
/// add_to_buffer() and decode() do the same in two steps, with one more copy of the input. The rest
/// of an item that is cut waits in the decoder's buffer.
///
/// Bad input, and input beyond the limits, sets an error text that stays until init(); all further
/// input is ignored. Besides std::bad_alloc only the creator throws:
/// Tm_file_open_exception and Tm_file_mapping_exception for a received file, std::out_of_range for
/// a name index and Tm_type_mismatch_exception for a name table of hostile input; their text
/// becomes the error text too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tmsg/creator/tm_creator_base.h"
#include "tmsg/export.h"
#include "tmsg/value/tm_limits.h"

class Tm_creator;
class Tm_own_creator;

class TMSG_API Tm_bin_decoder_base {
public:
    /// Bytes that the buffer takes beyond its capacity.
    static constexpr long EXTRA_CAPACITY = 128;

    /// The capacity bounds what add_to_buffer() takes. It need not be as large as the message.
    /// Error texts tell positions in a buffer of this capacity.
    explicit Tm_bin_decoder_base(long capacity, Tm_limits const& limits = {});
    Tm_bin_decoder_base(Tm_bin_decoder_base const&) = delete;
    Tm_bin_decoder_base& operator=(Tm_bin_decoder_base const&) = delete;
    virtual ~Tm_bin_decoder_base();

    virtual void init();
    /// Says that no more input comes: an incomplete message becomes an error.
    virtual void finalize();

    /// Decodes input of any length straight from where it stands, which may be changed afterwards.
    /// Returns what decode() returns.
    bool feed(unsigned char const* data, std::size_t size);

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
    /// The limit on the bytes of a message holds for each top-level value, not for the whole input.
    void limit_each_value() { limits_each_value_ = true; }
    /// Builds with a creator of the library's own.
    Tm_creator& build(std::unique_ptr<Tm_own_creator> creator);

    Tm_limits const& limits() const { return limits_; }

    std::unique_ptr<Tm_creator_base> creator_;

private:
    enum class State { between_items, within_item, failed };
    /// How a step of decoding ended: on to the next, for want of bytes, with an error.
    enum class Step { advanced, needs_bytes, failed };

    void count_in(long length);
    void keep(unsigned char const* data, std::size_t size);
    template <class Operation>
    void failing_with_exceptions(Operation operation);
    void decode_buffer();
    void feed_slice(unsigned char const* data, std::size_t size);
    std::size_t decode_at(unsigned char const* data, std::size_t size);
    void count_room();
    bool is_too_long(long length) const;
    void decode_items();
    void decode_whole_items(Tm_own_creator& creator);
    Step take_step();
    Step take_item();
    void act_on(unsigned char tag, long head);
    void act_on_bracket(unsigned char tag);
    void begin_member();
    void enter_item(long head, std::uint32_t length);
    Step pass_piece();

    long available() const { return stop_ - at_; }
    /// Of the next byte, in the buffer of the capacity.
    long position() const { return read_ + (at_ - from_); }

    Tm_limits limits_;
    long capacity_;
    std::vector<unsigned char> buffer_;  ///< from front_ on: input that was not decoded yet
    std::size_t front_ = 0;
    // Positions as if all input went through a buffer of the capacity; error texts tell them.
    long read_ = 0;
    long end_ = 0;
    long packed_ = 0;  ///< bytes of the message that have left that buffer
    // The input that is being decoded.
    unsigned char const* from_ = nullptr;
    unsigned char const* at_ = nullptr;
    unsigned char const* stop_ = nullptr;
    long room_ = 0;  ///< bytes of it that the current message may take
    long item_offset_ = 0;
    long value_offset_ = 0;  ///< where the bytes begin that the limit counts
    unsigned char item_tag_ = 0;
    unsigned int depth_ = 0;  ///< open brackets
    bool limits_each_value_ = false;
    std::uint32_t passed_ = 0;  ///< of the current item's bytes
    std::uint32_t total_ = 0;
    State state_ = State::between_items;
    bool is_waiting_ = false;  ///< for the rest of an item
    bool sealed_ = false;
    Tm_own_creator* own_creator_ = nullptr;  ///< creator_, where it is one of the library's own
    std::string error_;
};
