/// The header of a chunk, 8 bytes before the payload:
///
///     byte 0     version, always 0
///     byte 1     first chunk (bit 7), last chunk (6), discard eligible (4), length bits 19..16
///     bytes 2-3  length bits 15..0, big-endian; the payload's length in bytes
///     byte 4     port
///     byte 5     response new (bit 7), sequence number bits 22..16
///     bytes 6-7  sequence number bits 15..0, big-endian
///
/// The extended header has 24 bytes: the same 8 bytes with version 2, then a signature of 16 bytes.
/// Tm_chunk_sender and Tm_chunk_receiver do not use it.
#pragma once

#include "tmsg/export.h"

struct TM_HEADER {
    unsigned char bytes[8];
};

struct TM_HEADER_2 {
    TM_HEADER header;
    unsigned char signature[16];
};

/// "KVOC", the first 4 bytes of the signature. The other 12 bytes are zero.
extern TMSG_API char const* const KVO_TEVDAR_SIGNATURE;

/// The plain header. A setter changes only the bits of its field. It takes the low bits of a number
/// that is too large.
class TMSG_API Tm_header {
public:
    /// The largest payload length and the largest sequence number that the header can hold.
    static constexpr unsigned int MAX_LENGTH = 0xFFFFF;
    static constexpr unsigned int MAX_SEQ_NO = 0x7FFFFF;

    /// Makes a header of zero bytes.
    Tm_header();

    void set_first_chunk(bool value);
    bool get_first_chunk() const;
    void set_last_chunk(bool value);
    bool get_last_chunk() const;
    void set_discard_eligible(bool value);
    bool get_discard_eligible() const;
    void set_length(unsigned int length);
    unsigned int get_length() const;
    void set_tmport(unsigned char port);
    unsigned int get_tmport() const;
    void set_response_new(bool value);
    bool get_response_new() const;
    void set_seq_no(unsigned int seq_no);
    unsigned int get_seq_no() const;

    /// Returns the number of bytes of the header, 8.
    unsigned int get_size() const { return sizeof(TM_HEADER); }
    /// Returns the bytes as they are on the wire.
    TM_HEADER const& record() const { return record_; }

    Tm_header& operator=(TM_HEADER const& record);
    /// Copies the first 8 bytes.
    Tm_header& operator=(TM_HEADER_2 const& record);
    void swap(Tm_header& other) noexcept;

    /// Both print the header on standard output. The second prints a line with `where` before it.
    void show() const;
    void show(char const* where) const;

private:
    void set_flag(int byte, unsigned int mask, bool value);
    bool flag(int byte, unsigned int mask) const { return (record_.bytes[byte] & mask) != 0; }

    TM_HEADER record_ = {};
};

/// The extended header. Assigning a plain header overwrites the first 8 bytes, the version
/// included.
/// Every assignment returns a copy of the whole record.
class TMSG_API Tm_header_2 {
public:
    /// Makes a header with version 2 and the signature. All other bytes are zero.
    Tm_header_2();

    TM_HEADER_2 operator=(TM_HEADER const& record);
    TM_HEADER_2 operator=(Tm_header const& header);
    TM_HEADER_2 operator=(TM_HEADER_2 const& record);

    /// Returns the number of bytes of the header, 24.
    unsigned int get_size() const { return sizeof(TM_HEADER_2); }
    /// Returns the bytes as they are on the wire.
    TM_HEADER_2 const& record() const { return record_; }

private:
    TM_HEADER_2 record_ = {};
};
