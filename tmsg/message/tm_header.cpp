#include "tmsg/message/tm_header.h"

#include <cstdio>
#include <cstring>
#include <utility>

namespace {

constexpr unsigned int first_chunk_bit = 0x80;
constexpr unsigned int last_chunk_bit = 0x40;
constexpr unsigned int discard_eligible_bit = 0x10;
constexpr unsigned int length_high_bits = 0x0F;
constexpr unsigned int response_new_bit = 0x80;
constexpr unsigned int seq_no_high_bits = 0x7F;

/// A number in the low bits of three bytes, whose other high bits stay as they are.
void put_number(unsigned char* at, unsigned int high_bits, unsigned int number) {
    at[0] = static_cast<unsigned char>((at[0] & ~high_bits) | ((number >> 16) & high_bits));
    at[1] = static_cast<unsigned char>(number >> 8);
    at[2] = static_cast<unsigned char>(number);
}

unsigned int get_number(unsigned char const* at, unsigned int high_bits) {
    return ((at[0] & high_bits) << 16) | (static_cast<unsigned int>(at[1]) << 8) | at[2];
}

}  // namespace

char const* const KVO_TEVDAR_SIGNATURE = "KVOC";

Tm_header::Tm_header() = default;

void Tm_header::set_flag(int byte, unsigned int mask, bool value) {
    unsigned int const others = record_.bytes[byte] & ~mask;
    record_.bytes[byte] = static_cast<unsigned char>(value ? others | mask : others);
}

void Tm_header::set_first_chunk(bool value) { set_flag(1, first_chunk_bit, value); }
bool Tm_header::get_first_chunk() const { return flag(1, first_chunk_bit); }
void Tm_header::set_last_chunk(bool value) { set_flag(1, last_chunk_bit, value); }
bool Tm_header::get_last_chunk() const { return flag(1, last_chunk_bit); }
void Tm_header::set_discard_eligible(bool value) { set_flag(1, discard_eligible_bit, value); }
bool Tm_header::get_discard_eligible() const { return flag(1, discard_eligible_bit); }
void Tm_header::set_response_new(bool value) { set_flag(5, response_new_bit, value); }
bool Tm_header::get_response_new() const { return flag(5, response_new_bit); }

void Tm_header::set_length(unsigned int length) {
    put_number(record_.bytes + 1, length_high_bits, length);
}

unsigned int Tm_header::get_length() const {
    return get_number(record_.bytes + 1, length_high_bits);
}

void Tm_header::set_tmport(unsigned char port) { record_.bytes[4] = port; }
unsigned int Tm_header::get_tmport() const { return record_.bytes[4]; }

void Tm_header::set_seq_no(unsigned int seq_no) {
    put_number(record_.bytes + 5, seq_no_high_bits, seq_no);
}

unsigned int Tm_header::get_seq_no() const {
    return get_number(record_.bytes + 5, seq_no_high_bits);
}

Tm_header& Tm_header::operator=(TM_HEADER const& record) {
    record_ = record;
    return *this;
}

Tm_header& Tm_header::operator=(TM_HEADER_2 const& record) {
    record_ = record.header;
    return *this;
}

void Tm_header::swap(Tm_header& other) noexcept { std::swap(record_, other.record_); }

void Tm_header::show() const {
    std::printf("Tm_header::show - length=%u, last_chunk=%d, tmport=%u, size=%u, seq=%u\n",
                get_length(), get_last_chunk() ? 1 : 0, get_tmport(), get_size(), get_seq_no());
}

void Tm_header::show(char const* where) const {
    std::printf("called from %s\n", where);
    show();
}

Tm_header_2::Tm_header_2() {
    record_.header.bytes[0] = 2;
    std::memcpy(record_.signature, KVO_TEVDAR_SIGNATURE, std::strlen(KVO_TEVDAR_SIGNATURE));
}

TM_HEADER_2 Tm_header_2::operator=(TM_HEADER const& record) {
    record_.header = record;
    return record_;
}

TM_HEADER_2 Tm_header_2::operator=(Tm_header const& header) { return *this = header.record(); }

TM_HEADER_2 Tm_header_2::operator=(TM_HEADER_2 const& record) {
    record_ = record;
    return record_;
}
