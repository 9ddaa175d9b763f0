/// Writes events in the binary wire form into a buffer of one chunk. A full chunk makes it refuse
/// the next event, and the walk stops:
///
///     encoder.begin_fill();
///     while (!message.accept(encoder)) {
///         do ship(encoder.data(), encoder.chunk_size()); while (!encoder.continue_fill());
///     }
///     // ship what is left, fill_position() bytes: more than a chunk at most by the last event
///
/// or let Tm_chunk_sender do all that. An event that starts below the chunk size is written whole,
/// so the fill position may pass it. Strings and names must not exceed 65,535 bytes: of a longer
/// one the length is written wrong.
///
/// A file that is not mapped is read by its descriptor, some way ahead of its pieces. The encoder
/// neither uses nor moves the descriptor's position. Only for derived classes it sets the position
/// to 0 where a file begins, so that they can read from there. A piece that cannot be read throws
/// Tm_file_read_exception. A piece behind the end of the file writes nothing.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tmsg/export.h"
#include "tmsg/value/tm_visitor.h"
#include "tmsg/value/tm_wire.h"

class Tm_read_ahead;

class TMSG_API Tm_bin_encoder : public Tm_visitor {
public:
    /// Payload bytes of a chunk, at least 1, and bytes in front of them that stay the caller's, for
    /// a chunk header; Tm_out_of_range_exception otherwise.
    explicit Tm_bin_encoder(int chunk_size, int header_size = 0);
    Tm_bin_encoder(Tm_bin_encoder const&) = delete;
    Tm_bin_encoder& operator=(Tm_bin_encoder const&) = delete;
    ~Tm_bin_encoder() override;

    void init(int chunk_size, int header_size);

    /// Starts a message.
    void begin_fill();
    /// After a full chunk was shipped: moves what passed the chunk size to the front. False: that
    /// is another full chunk, to be shipped before accept() goes on.
    bool continue_fill() { return small_chunk_continue(); }
    bool small_chunk_continue();
    /// There is room: the next event will be taken.
    bool check_state() const { return room_.left() > 0; }

    /// The first wire byte; valid until the next event.
    unsigned char const* data() const { return buffer_.data() + header_size_; }
    /// The header room, directly in front of data().
    unsigned char* buffer() { return buffer_.data(); }
    int fill_position() const { return static_cast<int>(room_.at() - data()); }
    int chunk_size() const { return chunk_size_; }
    int header_size() const { return header_size_; }

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
    /// For classes that leave every operation on bytes in memory as it is: values of the library
    /// may write straight into the chunk of objects of exactly that class.
    void take_wire_room(std::type_info const& for_class) { offer_wire_room(&room_, for_class); }

private:
    void set_fill(int bytes);
    void make_slack(unsigned int bytes);
    bool put_piece(char const* data, unsigned int length);

    std::vector<unsigned char> buffer_;
    Tm_wire_room room_;  ///< behind the fill position
    int chunk_size_ = 0;
    int header_size_ = 0;
    std::vector<int> mementos_;
    std::unique_ptr<Tm_read_ahead> file_;  ///< the one whose pieces come, unless it is mapped
};
