/// Reads the wire form and sends it as events to a creator, which a derived class chooses. Pass the
/// input to feed(), in pieces of any size, and call finalize() after the last piece. init() makes
/// the decoder ready for the next message, also after an error or an exception.
///
///     Tm_bin_decoder decoder(4096);
///     decoder.feed(data, size);
///     decoder.finalize();
///     if (decoder.error().empty()) use(std::unique_ptr<Message>(decoder.release_msg()));
///     else report(decoder.error(), decoder.item_offset(), decoder.item_path());
///
/// Messages that follow each other, for example in a file, are read with feed_message():
///
///     for (std::size_t taken = 0; size > 0 && decoder.error().empty(); data += taken, size -=
///     taken) {
///         taken = decoder.feed_message(data, size);
///         if (!decoder.is_complete()) continue;  // the rest comes with the next input
///         use(std::unique_ptr<Message>(decoder.release_msg()));
///         decoder.init();
///     }
///
/// add_to_buffer() and decode() do the same as feed() in two steps, with one more copy of the
/// input. When a piece ends within an item, the decoder keeps the first part of the item in its
/// buffer.
///
/// Bad input, and input beyond the limits, sets an error text that stays until init(). The decoder
/// then ignores all further input. feed(), add_to_buffer() and decode() throw only std::bad_alloc
/// and these exceptions. The text of an exception also becomes the error text.
///  - Tm_file_open_exception, Tm_file_mapping_exception: the file of a file value cannot be made
///  - std::out_of_range: the name table does not have a wire index
///  - Tm_type_mismatch_exception: the name table is not an array of strings
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
    /// The number of bytes that the buffer can hold beyond its capacity.
    static constexpr long EXTRA_CAPACITY = 128;

    /// `capacity` is the size of the buffer for add_to_buffer(), in bytes. It may be smaller than
    /// the message. A negative capacity counts as 0. Positions in error texts depend on it: they
    /// are positions in a buffer of this capacity, also for feed().
    explicit Tm_bin_decoder_base(long capacity, Tm_limits const& limits = {});
    Tm_bin_decoder_base(Tm_bin_decoder_base const&) = delete;
    Tm_bin_decoder_base& operator=(Tm_bin_decoder_base const&) = delete;
    virtual ~Tm_bin_decoder_base();

    /// Clears the error and makes the decoder ready for the next message.
    virtual void init();
    /// Call it after the last input. It sets an error text when the message is incomplete.
    virtual void finalize();

    /// Decodes input of any length without copying it first. `data` must be valid during the call
    /// only. Returns what decode() returns.
    bool feed(unsigned char const* data, std::size_t size);

    /// Does the same up to the end of the first message. Returns the number of bytes that it took,
    /// which are all bytes when no message ends in the input, and after an error. The bytes behind
    /// them begin the next message: call init() before you pass them on.
    /// For a decoder of values of any kind, a message is each top-level value.
    std::size_t feed_message(unsigned char const* data, std::size_t size);
    /// Returns whether the last call of feed_message() came to the end of a message.
    bool is_complete() const { return is_complete_; }

    /// Copies the bytes into the buffer. Returns false, and copies nothing, when they do not fit or
    /// `length` is negative.
    bool add_to_buffer(unsigned char const* data, long length);
    /// Makes room in the buffer: moves the bytes that are not decoded yet to its front.
    /// add_to_buffer() calls it when it needs room.
    void pack_buffer();
    /// Sends the events of all complete items in the buffer to the creator. When the last item is
    /// incomplete, also sends its complete pieces. Returns false when bytes are left that wait for
    /// more input, and true in all other cases, also after an error.
    bool decode();

    /// Sets the error text, so that the decoder ignores all further input.
    void set_error(std::string const& text);
    /// Does the same with the text "TEXT: TAGh at byte POSITION".
    void set_error(std::string const& text, unsigned char tag, long position);

    /// Returns the error text, which is empty when there is no error.
    std::string const& error() const { return error_; }
    /// Returns 0 between items, 1 within the contents of an item, 2 after an error.
    int state() const { return static_cast<int>(state_); }
    /// Returns the position in the buffer of the first byte that is not decoded yet. pack_buffer()
    /// changes it.
    long read_position() const { return read_; }
    /// Returns the position after the last byte in the buffer. pack_buffer() changes it.
    long end_position() const { return end_; }
    /// Returns the position of the first byte of an item in the whole input since init(). The item
    /// is the last one that was begun, or the one that failed.
    long item_offset() const { return item_offset_; }
    /// Returns the place in the tree where decoding goes on, or of the value that was refused, as
    /// tm_path.h writes it: "body.server.ports[2]". The path is empty outside the groups of a
    /// message, and in a decoder that builds no tree. Do not call it after the result was released.
    std::string item_path() const;

protected:
    /// Makes the decoder ignore all further input until init(). A derived class calls it when it
    /// gives its result to the caller.
    void seal() { sealed_ = true; }
    /// Makes Tm_limits::max_message_bytes count for each top-level value, not for the whole input.
    void limit_each_value() { limits_each_value_ = true; }
    /// Sets creator_ to one of the library's own creators, which takes whole items. Returns it.
    Tm_creator& build(std::unique_ptr<Tm_own_creator> creator);

    Tm_limits const& limits() const { return limits_; }

    /// Gets the events. A derived class must set it before the first input.
    std::unique_ptr<Tm_creator_base> creator_;

private:
    enum class State { between_items, within_item, failed };
    /// The result of a step of decoding: the next step can follow, bytes are missing, or it failed.
    enum class Step { advanced, needs_bytes, failed };

    void count_in(long length);
    void keep(unsigned char const* data, std::size_t size);
    template <class Operation>
    void failing_with_exceptions(Operation operation);
    void decode_buffer();
    std::size_t feed_slices(unsigned char const* data, std::size_t size);
    std::size_t feed_slice(unsigned char const* data, std::size_t size);
    bool note_end();
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
    /// Returns the position of the next byte, as in error texts.
    long position() const { return read_ + (at_ - from_); }

    Tm_limits limits_;
    long capacity_;
    std::vector<unsigned char> buffer_;  ///< input that is not decoded yet, from front_ on
    std::size_t front_ = 0;
    // Positions as they would be if all input went through a buffer of the capacity.
    long read_ = 0;
    long end_ = 0;
    long packed_ = 0;  ///< bytes of the input before that buffer
    // The input that is being decoded.
    unsigned char const* from_ = nullptr;
    unsigned char const* at_ = nullptr;
    unsigned char const* stop_ = nullptr;
    long room_ = 0;  ///< input bytes that the current message may take
    long item_offset_ = 0;
    long value_offset_ = 0;  ///< the limit counts bytes from here on
    unsigned char item_tag_ = 0;
    unsigned int depth_ = 0;  ///< open brackets
    bool limits_each_value_ = false;
    bool stops_at_end_ = false;  ///< after each top-level value
    bool is_complete_ = false;   ///< stopped there
    std::uint32_t passed_ = 0;   ///< bytes of the current item passed on so far
    std::uint32_t total_ = 0;    ///< all bytes of the current item
    State state_ = State::between_items;
    bool is_waiting_ = false;  ///< for the rest of an item
    bool sealed_ = false;
    Tm_own_creator* own_creator_ = nullptr;  ///< creator_ if it is the library's own, else null
    std::string error_;
};
