#include "tmsg/transport/tm_chunk_reader.h"

#include <algorithm>
#include <cstring>

#include "tmsg/value/internal/tm_limit_error.h"

Tm_chunk_reader::Step Tm_chunk_reader::next(unsigned char const*& data, std::size_t& size) {
    if (!in_chunk_) return read_header(data, size);
    if (payload_left_ == 0) {
        in_chunk_ = false;
        offset_ += sizeof(TM_HEADER) + header_.get_length();
        return Step::end;
    }
    if (size == 0) return Step::need_input;
    payload_ = data;
    payload_size_ = std::min(payload_left_, size);
    payload_left_ -= payload_size_;
    data += payload_size_;
    size -= payload_size_;
    return Step::payload;
}

Tm_chunk_reader::Step Tm_chunk_reader::read_header(unsigned char const*& data, std::size_t& size) {
    std::size_t const piece = std::min(sizeof header_bytes_.bytes - header_size_, size);
    if (piece > 0) std::memcpy(header_bytes_.bytes + header_size_, data, piece);
    header_size_ += piece;
    data += piece;
    size -= piece;
    if (header_size_ < sizeof header_bytes_.bytes) return Step::need_input;
    header_ = header_bytes_;
    header_size_ = 0;
    payload_left_ = header_.get_length();
    in_chunk_ = true;
    return Step::header;
}

std::string tm_chunk_error(Tm_header const& header, bool is_known, std::size_t unfinished,
                           Tm_limits const& limits) {
    if (!header.get_first_chunk()) return is_known ? "" : "chunk continues no known message";
    // A message of one chunk is finished with it.
    bool const has_room = header.get_last_chunk() || unfinished < limits.max_unfinished;
    return has_room ? "" : tm_too_many_unfinished(limits);
}
