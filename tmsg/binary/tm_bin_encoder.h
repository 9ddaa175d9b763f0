/// Writes events in the wire form into a buffer of one chunk. When the chunk is full, the encoder
/// refuses the next event, and the walk stops until continue_fill():
///
///     encoder.begin_fill();
///     while (!message.accept(encoder)) {
///         do ship(encoder.data(), encoder.chunk_size()); while (!encoder.continue_fill());
///     }
///     // ship the rest, fill_position() bytes; the last event may have passed the chunk size
///
/// Tm_chunk_sender and tm_encode_pieces() do all that.
/// The encoder writes all of an event that begins before the end of the chunk. So the fill position
/// may pass the chunk size.
/// The encoder does not check lengths: it writes a wrong length for a string or name longer than
/// 65,535 bytes.
///
/// A file that is not mapped is read through its descriptor. The encoder does not use or move the
/// position of the descriptor. Only an object of a class that you derive sets the position to 0
/// when a file begins, so that the class can read from there. The encoder throws
/// Tm_file_read_exception for a piece that it cannot read. It writes nothing for a piece after the
/// end of the file.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/value/tm_chunk_buffer.h"
#include "tmsg/value/tm_visitor.h"

class Tm_read_ahead;

class TMSG_API Tm_bin_encoder : public Tm_visitor {
public:
    /// `chunk_size` is the number of payload bytes of a chunk, at least 1. `header_size` is the
    /// number of bytes before them that the caller fills, at least 0. Throws
    /// Tm_out_of_range_exception for other sizes.
    explicit Tm_bin_encoder(int chunk_size, int header_size = 0);
    Tm_bin_encoder(Tm_bin_encoder const&) = delete;
    Tm_bin_encoder& operator=(Tm_bin_encoder const&) = delete;
    ~Tm_bin_encoder() override;

    /// Starts again with new sizes, as if newly made.
    void init(int chunk_size, int header_size);

    /// Begins a message.
    void begin_fill();
    /// Call it after a full chunk was shipped. It moves the bytes beyond the chunk size to the
    /// front. Returns false when they fill another chunk, which must be shipped before accept()
    /// goes on.
    bool continue_fill() { return small_chunk_continue(); }
    bool small_chunk_continue();
    /// Returns true when there is room, so that the encoder takes the next event.
    bool check_state() const { return chunk_.left() > 0; }

    /// Returns the first wire byte. The pointer is valid until the next event.
    unsigned char const* data() const { return chunk_.data(); }
    /// Returns the room for the header, directly before data(). It is valid until the next event.
    unsigned char* buffer() { return chunk_.header(); }
    /// Returns the number of wire bytes in the buffer. It may be greater than the chunk size.
    int fill_position() const { return chunk_.fill(); }
    int chunk_size() const { return chunk_.chunk_size(); }
    int header_size() const { return chunk_.header_size(); }

    /// Returns what tm_tag_size() returns.
    static int tag_size(unsigned char tag);

    bool visit_method_begin(bool is_request) override;
    bool visit_method_end(bool is_request) override;
    bool visit_fault_begin() override;
    bool visit_fault_end() override;
    bool visit_method_name_begin(unsigned int length) override;
    bool visit_method_name_continue(char const* data, unsigned int length) override;
    bool visit_bool(bool value) override;
    bool visit_int8(signed char value) override;
    bool visit_uint8(unsigned char value) override;
    bool visit_int16(short value) override;
    bool visit_uint16(unsigned short value) override;
    bool visit_int32(int value) override;
    bool visit_uint32(unsigned int value) override;
    bool visit_int64(long value) override;
    bool visit_uint64(unsigned long value) override;
    bool visit_double(double value) override;
    bool visit_string_begin(unsigned int length) override;
    bool visit_string_continue(char const* data, unsigned int length) override;
    bool visit_binary_begin(unsigned int length) override;
    bool visit_binary_continue(char const* data, unsigned int length) override;
    bool visit_struct_begin() override;
    bool visit_struct_end() override;
    bool visit_member_begin(unsigned int length_or_index) override;
    bool visit_member_continue(char const* data, unsigned int length) override;
    bool visit_member_end() override;
    bool visit_array_begin() override;
    bool visit_array_end() override;
    bool visit_file_begin(unsigned int length) override;
    bool visit_file_begin(int fd, unsigned int length) override;
    bool visit_file_continue(char const* data, unsigned int length) override;
    bool visit_file_continue(int fd, std::string const& path, unsigned int length) override;

    bool has_memento() override;
    int pop_memento() override;
    void push_memento(int step) override;
    bool is_support_member_index() override;

protected:
    /// Lets values of the library write straight into the chunk, but only for an object of exactly
    /// the class `for_class`. A derived class may call it if it overrides no operation on bytes in
    /// memory.
    void take_wire_room(std::type_info const& for_class) { offer_wire_room(&chunk_, for_class); }

private:
    bool put_piece(char const* data, unsigned int length);

    Tm_chunk_buffer chunk_;
    std::vector<int> mementos_;
    std::unique_ptr<Tm_read_ahead> file_;  ///< reads a file that is not mapped
};
